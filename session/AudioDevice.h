#pragma once
// An output device as the user picks it. A value.

#include <string>

#include "platform/AudioHardware.h"

namespace tolvane {

struct AudioDevice {
  AudioObjectID id = kAudioObjectUnknown;
  std::string name;

  bool operator==(const AudioDevice&) const = default;
};

}  // namespace tolvane
