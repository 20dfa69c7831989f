#pragma once
// What the command line of a campaign asks for. The test's thread.

#include <cstdint>

namespace tolvane {

struct CampaignOptions {
  std::uint64_t seed = 1;
  double hours = 0;  ///< simulated
};
[[nodiscard]] CampaignOptions& campaignOptions();

/// Simulated hours of a run without the option, in an optimised build. Each program defines it beside its test.
[[nodiscard]] double usualCampaignHours();

}  // namespace tolvane
