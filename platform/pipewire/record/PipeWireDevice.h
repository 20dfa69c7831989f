#pragma once
// What the PipeWire side remembers about one device, listed or not. Player's thread; a plain record, whose condition
// changes in DeviceState alone.

#include <optional>
#include <string>

#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"
#include "platform/pipewire/record/ContestWatch.h"
#include "platform/pipewire/record/DeviceState.h"
#include "platform/pipewire/record/RetakeObstacles.h"
#include "platform/pipewire/record/RetakePause.h"
#include "platform/pipewire/record/ToldAlteration.h"

namespace tolvane {

class PipeWireOutputUnit;

struct PipeWireDevice {
  PipeWireDevice(Log& log, std::string itsUid, std::string itsName, AudioObjectID itsId, AudioObjectID itsStream);

  /// A unit has the device, and may play to its sink.
  [[nodiscard]] bool isUnitOnSink() const;
  /// A unit has the device, over its card.
  [[nodiscard]] bool isUnitOnCard() const;
  [[nodiscard]] bool isUnitRunning() const;

  // For as long as the process lives.
  const std::string uid;
  const std::string name;
  const AudioObjectID id;
  const AudioObjectID stream;
  /// Last rate that was asked for while the device was reached through a sink, in hertz.
  std::optional<double> chosenRate;

  DeviceState state;

  // As it was listed last.
  std::uint32_t transport = 0;
  AudioObjectID direct = kAudioObjectUnknown;

  // While a unit has it.
  PipeWireOutputUnit* unit = nullptr;
  bool wasRunning = false;         ///< through a sink, when the unit reported last
  std::optional<double> unitRate;  ///< that the sink ran at when the unit last played, in hertz

  /// Until then the hardware still plays what the last unit gave to the sink.
  RunLoop::TimePoint heardUntil = RunLoop::TimePoint::min();
  RetakePause retakePause;
  RetakeObstacles retakeObstacles;
  ContestWatch contestWatch;

  /// What was last reported to property listeners.
  struct Reported {
    std::optional<double> rate;  ///< hertz
    std::optional<std::int32_t> owner;
    bool isReopeningDue = false;
    ToldAlteration alteration;
  };
  Reported reported;
};

}  // namespace tolvane
