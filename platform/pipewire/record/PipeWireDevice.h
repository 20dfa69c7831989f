#pragma once
// What the PipeWire side remembers about one device, listed or not: its ids, its name, and what was asked of it. Main
// thread; a plain record of PipeWireAudioHardware.

#include <optional>
#include <string>

#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"
#include "platform/pipewire/facts/PipeWireFacts.h"
#include "platform/pipewire/record/ContestWatch.h"
#include "platform/pipewire/record/DeviceWay.h"
#include "platform/pipewire/record/RetakeObstacles.h"
#include "platform/pipewire/record/RetakePause.h"
#include "platform/pipewire/record/SinkExpectation.h"
#include "platform/pipewire/record/ToldAlteration.h"

namespace tolvane {

class PipeWireOutputUnit;

struct PipeWireDevice {
  // For as long as the process lives.
  std::string uid;
  std::string name;
  AudioObjectID id = kAudioObjectUnknown;
  AudioObjectID stream = kAudioObjectUnknown;
  std::optional<double> chosenRate;  ///< that was last asked for while it was reached through a sink

  // While it is listed.
  bool isListed = false;
  std::uint32_t transport = 0;
  std::optional<std::uint32_t> sink;
  AudioObjectID direct = kAudioObjectUnknown;
  PipeWireOutputUnit* unit = nullptr;
  bool wasRunning = false;         ///< when the unit last had news: through a sink
  std::optional<double> unitRate;  ///< that the sink ran at when the unit last played

  SinkExpectation sinkExpectation;
  /// Until then the hardware still plays what the last unit gave to the sink.
  RunLoop::TimePoint heardUntil = RunLoop::TimePoint::min();
  /// The server's card whose profile this process has switched off, and what it was before.
  struct Profile {
    std::uint32_t card = 0;
    std::uint32_t profile = 0;
    PipeWireCard before;  ///< the server gives a card's number to another one when it has gone
  };
  std::optional<Profile> switchedOff;
  bool isGiveBackDue = false;            ///< of the card: its driver does not return, and may have it open
  std::optional<CardBefore> cardBefore;  ///< while a unit plays over the card, or it is this process's
  RetakePause retakePause;
  RetakeObstacles retakeObstacles;
  ContestWatch contestWatch;

  // What listeners were told last.
  std::optional<double> toldRate;
  std::optional<std::int32_t> toldOwner;
  bool toldReopening = false;
  ToldAlteration toldAlteration;
};

}  // namespace tolvane
