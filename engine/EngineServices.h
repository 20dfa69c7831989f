#pragma once
// What every part of the engine uses: devices, time, log and workers. Player's thread. Constant after construction.

#include <memory>
#include <utility>

#include "engine/AudioLogger.h"
#include "engine/DeliveryMonitor.h"
#include "engine/DeviceProperties.h"
#include "engine/render/AtomicOutputLevels.h"
#include "platform/AudioHardware.h"
#include "platform/Background.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"

namespace tolvane {

struct EngineServices {
  EngineServices(AudioHardware& hardwareLayer, RunLoop& playerLoop, Log& log, Background workers)
      : hardware(hardwareLayer),
        runLoop(playerLoop),
        logger(log),
        device(hardwareLayer, playerLoop),
        background(std::move(workers)),
        deliveries(background) {}

  AudioHardware& hardware;
  RunLoop& runLoop;
  AudioLogger logger;
  DeviceProperties device;
  const Background background;
  DeliveryMonitor deliveries;
  const std::shared_ptr<AtomicOutputLevels> outputLevels = std::make_shared<AtomicOutputLevels>();
};

}  // namespace tolvane
