#include "tests/engine/campaign/Campaign.h"

#include <gtest/gtest.h>

#include <iostream>

namespace tolvane {
namespace {

// Four parts, so that they can run side by side; each takes every fourth seed.
constexpr std::uint64_t parts = 4;
constexpr std::int64_t worldsThatSeeEverything = 20;

class CampaignTest : public testing::TestWithParam<std::uint64_t> {};

TEST_P(CampaignTest, WhateverDevicesAndUsersDoThePlayerKeepsItsPromises) {
  CampaignTracks tracks;
  CampaignTotals totals;
  std::uint64_t seed = campaignOptions().seed + GetParam();
  do {
    if (const auto failure = runWorld(seed, tracks, totals)) {
      FAIL() << *failure;
    }
    seed += parts;
  } while (totals.hours < campaignOptions().hours / parts);
  std::cout << totals.text() << std::endl;
  EXPECT_EQ(tracks.files().openFileCount(), 0);
  // What was never tried was not judged either. A single seed, to see it again, is one world.
  if (totals.worlds < worldsThatSeeEverything) return;
  EXPECT_GT(totals.completions, 0);
  EXPECT_GT(totals.recoveryAttempts, 0);
  EXPECT_GT(totals.surrenders, 0);
  EXPECT_GT(totals.bitPerfectVerdicts, 0);
  EXPECT_GT(totals.processingVerdicts, 0);
  EXPECT_GT(totals.undisturbedProcessings, 0);
  EXPECT_GT(totals.lateRates, 0);
  EXPECT_GT(totals.wishesInOutages, 0);
  EXPECT_GT(totals.heardFrames, 0);
  EXPECT_GT(totals.wholeDeliveries, 0);
  EXPECT_GT(totals.alteredDeliveries, 0);
}

INSTANTIATE_TEST_SUITE_P(Part, CampaignTest, testing::Range<std::uint64_t>(0, parts));

}  // namespace

double usualCampaignHours() { return 10'400; }

}  // namespace tolvane
