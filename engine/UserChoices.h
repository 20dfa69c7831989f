#pragma once
// The user's choices for the output. A plain value.

#include <optional>

#include "engine/render/OutputLevels.h"
#include "platform/AudioHardware.h"

namespace tolvane {

struct UserChoices {
  OutputLevels outputLevels;
  std::optional<AudioObjectID> preferredDeviceID;  ///< nothing: follow the system's default
  bool isExclusiveAccessEnabled = false;
};

}  // namespace tolvane
