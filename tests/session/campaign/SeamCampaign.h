#pragma once
// Worlds of the campaign over the seam, one after the other. The test's thread. Ends with the first failure.

#include <cstdint>
#include <optional>
#include <string>

#include "tests/engine/campaign/CampaignOptions.h"
#include "tests/engine/campaign/CampaignTracks.h"

namespace tolvane {

struct SeamTotals {
  std::int64_t worlds = 0;
  double hours = 0;  ///< simulated
  double playingHours = 0;
  std::int64_t commands = 0;  ///< sent by the window, its questions included
  std::int64_t replaced = 0;  ///< by a newer one, before they had begun
  std::int64_t undone = 0;    ///< changes of the playlist
  std::int64_t states = 0;    ///< given to the window
  std::int64_t agreements = 0;
  std::int64_t holdUps = 0;
  std::int64_t waitsShown = 0;
  std::int64_t bitPerfectShown = 0;
  std::int64_t positionsShown = 0;
  std::int64_t diagnosticsShown = 0;
  std::int64_t unplayableShown = 0;
  std::int64_t starts = 0;  ///< of the program
  std::int64_t completions = 0;
  std::int64_t recoveryAttempts = 0;
  std::int64_t heardFrames = 0;

  [[nodiscard]] std::string text() const;
};

/// One world from its seed to its end; its failure with all that led to it.
[[nodiscard]] std::optional<std::string> runSeamWorld(std::uint64_t seed, CampaignTracks& tracks, SeamTotals& totals);

}  // namespace tolvane
