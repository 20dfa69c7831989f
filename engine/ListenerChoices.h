#pragma once
// What the listener chose for the output. A plain value.

#include <optional>

#include "engine/render/OutputLevels.h"
#include "platform/AudioHardware.h"

namespace tolvane {

struct ListenerChoices {
  OutputLevels outputLevels;
  std::optional<AudioObjectID> preferredDeviceID;  ///< none: follow the system's default
  bool isExclusiveAccessEnabled = false;
};

}  // namespace tolvane
