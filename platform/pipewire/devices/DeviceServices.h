#pragma once
// What the parts of the device layer use. All of it outlives them.

#include "platform/AudioHardware.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/pipewire/server/SoundServer.h"

namespace tolvane {

struct DeviceServices {
  RunLoop& runLoop;
  Log& log;
  AudioHardware& cardHardware;  ///< the machine's own devices
  SoundServer& server;
};

}  // namespace tolvane
