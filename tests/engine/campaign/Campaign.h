#pragma once
// Worlds of the fault campaign, one after the other, until the hours are done. The test's thread.
// Never continues after a failure: the first one ends the campaign, with what is needed to reproduce it.

#include <cstdint>
#include <optional>
#include <string>

#include "tests/engine/campaign/CampaignOptions.h"
#include "tests/engine/campaign/CampaignTracks.h"

namespace tolvane {

struct CampaignTotals {
  std::int64_t worlds = 0;
  std::int64_t steps = 0;
  double hours = 0;  ///< simulated
  double playingHours = 0;
  std::int64_t completions = 0;
  std::int64_t crossings = 0;  ///< of them, into a track that followed without a gap
  std::int64_t recoveryAttempts = 0;
  std::int64_t surrenders = 0;
  std::int64_t bitPerfectVerdicts = 0;
  std::int64_t processingVerdicts = 0;
  std::int64_t undisturbedProcessings = 0;  ///< after each of them, no recovery
  std::int64_t lateRates = 0;               ///< that arrived when the player no longer waited for them
  std::int64_t wishesInOutages = 0;         ///< of users, while the output recovered
  std::int64_t heardFrames = 0;             ///< each of them compared with the file
  std::int64_t wholeDeliveries = 0;         ///< passes of a track that the player found to be delivered whole
  std::int64_t alteredDeliveries = 0;       ///< and those with altered samples

  [[nodiscard]] std::string text() const;
};

/// One world from its seed to its end; its failure with all that led to it.
[[nodiscard]] std::optional<std::string> runWorld(std::uint64_t seed, CampaignTracks& tracks, CampaignTotals& totals);

}  // namespace tolvane
