#pragma once
// Whether the path from file to device is bit-perfect in truth: found from the simulated devices' own state, by rules
// written down a second time. The test's thread. Never calls the engine's own judgement.

#include <optional>
#include <string>

#include "tests/engine/campaign/CampaignWorld.h"

namespace tolvane {

/// Why BIT-PERFECT would be untrue at this moment; nothing when it is true.
[[nodiscard]] std::optional<std::string> reasonAgainstBitPerfect(CampaignWorld& world);

/// Whether DSP ACTIVE may be shown: software levels, or a gain behind the unit that no conversion hides.
[[nodiscard]] bool mayBeProcessed(CampaignWorld& world);

}  // namespace tolvane
