#pragma once
// The PipeWire adapter's record of one device, listed or not. Player's thread; a plain record, whose condition changes
// only in DeviceState.

#include <optional>
#include <string>

#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"
#include "platform/pipewire/record/ContestWatch.h"
#include "platform/pipewire/record/DeviceState.h"
#include "platform/pipewire/record/ReportedAlteration.h"
#include "platform/pipewire/record/RetakeObstacles.h"
#include "platform/pipewire/record/RetakePause.h"

namespace tolvane {

class PipeWireOutputUnit;

struct PipeWireDevice {
  PipeWireDevice(Log& log, std::string itsUid, std::string itsName, AudioObjectID itsId, AudioObjectID itsStream);

  /// A unit has the device, and may play to its sink.
  [[nodiscard]] bool isUnitOnSink() const;
  /// A unit has the device, over its card.
  [[nodiscard]] bool isUnitOnCard() const;
  [[nodiscard]] bool isUnitRunning() const;

  // Constant for the life of the process.
  const std::string uid;
  const std::string name;
  const AudioObjectID id;
  const AudioObjectID stream;
  /// The rate last requested while the device was reached through a sink, in hertz.
  std::optional<double> chosenRate;

  DeviceState state;

  // As last listed.
  std::uint32_t transport = 0;
  AudioObjectID cardDevice = kAudioObjectUnknown;

  // While a unit has it.
  PipeWireOutputUnit* unit = nullptr;
  bool wasRunning = false;         ///< through a sink, at the unit's last report
  std::optional<double> unitRate;  ///< the sink's rate when the unit last played, in hertz

  /// Until then the hardware still plays frames of the last unit.
  RunLoop::TimePoint heardUntil = RunLoop::TimePoint::min();
  RetakePause retakePause;
  RetakeObstacles retakeObstacles;
  ContestWatch contestWatch;

  /// What was last reported to property listeners.
  struct Reported {
    std::optional<double> rate;  ///< hertz
    std::optional<std::int32_t> owner;
    bool isReopeningDue = false;
    ReportedAlteration alteration;
  };
  Reported reported;
};

}  // namespace tolvane
