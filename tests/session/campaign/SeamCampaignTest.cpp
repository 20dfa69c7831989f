#include <gtest/gtest.h>

#include <iostream>

#include "tests/session/campaign/SeamCampaign.h"

namespace tolvane {
namespace {

// Four parts, so that they can run side by side; each takes every fourth seed.
constexpr std::uint64_t seamParts = 4;
constexpr std::int64_t seamWorldsThatSeeEverything = 10;

class SeamCampaignTest : public testing::TestWithParam<std::uint64_t> {};

TEST_P(SeamCampaignTest, WhateverHappensWindowAndPlayerAgreeInTheEnd) {
  CampaignTracks tracks;
  SeamTotals totals;
  std::uint64_t seed = campaignOptions().seed + GetParam();
  do {
    if (const auto failure = runSeamWorld(seed, tracks, totals)) {
      FAIL() << *failure;
    }
    seed += seamParts;
  } while (totals.hours < campaignOptions().hours / seamParts);
  std::cout << totals.text() << std::endl;
  EXPECT_EQ(tracks.files().openFileCount(), 0);
  // A single seed, to see it again, is one world.
  if (totals.worlds < seamWorldsThatSeeEverything) return;
  EXPECT_GT(totals.replaced, 0);
  EXPECT_GT(totals.undone, 0);
  EXPECT_GT(totals.agreements, 0);
  EXPECT_GT(totals.holdUps, 0);
  EXPECT_GT(totals.waitsShown, 0);
  EXPECT_GT(totals.bitPerfectShown, 0);
  EXPECT_GT(totals.positionsShown, 0);
  EXPECT_GT(totals.diagnosticsShown, 0);
  EXPECT_GT(totals.unplayableShown, 0);
  EXPECT_GT(totals.starts, totals.worlds);
  EXPECT_GT(totals.completions, 0);
  EXPECT_GT(totals.recoveryAttempts, 0);
  EXPECT_GT(totals.heardFrames, 0);
}

INSTANTIATE_TEST_SUITE_P(Part, SeamCampaignTest, testing::Range<std::uint64_t>(0, seamParts));

}  // namespace

double usualCampaignHours() { return 200; }

}  // namespace tolvane
