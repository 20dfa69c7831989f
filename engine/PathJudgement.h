#pragma once
// Reads everything that the verdict depends on from the device and the unit, and judges it. Player's thread; changes
// nothing.

#include "engine/AudioPathStatus.h"
#include "engine/HogModeReport.h"
#include "engine/Output.h"
#include "engine/PreparedAudio.h"
#include "engine/SignalPath.h"
#include "engine/UserChoices.h"

namespace tolvane {

struct PathJudgement {
  AudioPathStatus status;
  SignalPath path;  ///< from the same reading
};

/// The verdict on `track` as `output` plays it. REQUIRES: the output has a unit.
[[nodiscard]] PathJudgement judgePath(const EngineServices& services, const Output& output, const PreparedAudio& track,
                                      const HogModeReport& hogReport, const UserChoices& choices);

}  // namespace tolvane
