#include "demo/DemoRack.h"

#include <algorithm>
#include <iterator>

namespace tolvane {

namespace {

constexpr std::int32_t otherProgram = 1;  // a process that is never this one
constexpr auto heartbeatInterval = std::chrono::milliseconds(5);

SimulatedDeviceConfig studioDAC() {
  SimulatedDeviceConfig device;
  device.name = "Studio DAC";
  device.rateSettleDelay = std::chrono::milliseconds(30);
  return device;
}

SimulatedDeviceConfig builtInOutput() {
  SimulatedDeviceConfig device;
  device.name = "Built-in Output";
  device.transport = kAudioDeviceTransportTypeBuiltIn;
  device.rates = {{48000, 48000}};
  device.nominalRate = 48000;
  device.hogIsSettable = false;
  device.streams[0].physicalFormats = {physicalInteger(16)};
  return device;
}

SimulatedDeviceConfig headphones() {
  SimulatedDeviceConfig device;
  device.name = "Wireless Headphones";
  device.transport = kAudioDeviceTransportTypeBluetooth;
  device.rates = {{44100, 44100}, {48000, 48000}};
  device.hogIsSettable = false;
  return device;
}

}  // namespace

DemoRack::DemoRack(RunLoop& realTime)
    : realTime_(realTime),
      caughtUpTo_(realTime.now()),
      devices_{hardware_.addDevice(studioDAC()), hardware_.addDevice(builtInOutput()),
               hardware_.addDevice(headphones())} {
  heartbeat_ = realTime_.scheduleTimer(heartbeatInterval, true, [this] { catchUp(); });
}

void DemoRack::catchUp() {
  // Preparing a track blocks this thread for a moment; hardware that is simulated by it cannot go on meanwhile, so
  // that time does not count.
  constexpr RunLoop::Duration longestStep = std::chrono::milliseconds(100);
  const auto now = realTime_.now();
  const auto step = std::min(now - caughtUpTo_, longestStep);
  caughtUpTo_ = now;
  runLoop_.advance(step);
}

DemoRack::Row DemoRack::row(std::size_t index) {
  const auto& found = device(index);
  const auto& script = found.config();
  return {.name = script.name,
          .rate = script.nominalRate,
          .isPluggedIn = found.isPresent(),
          .isTaken = script.hogOwner == otherProgram,
          .isStalled = found.isStalled(),
          .canReclock = found.isPresent() && script.rates.size() > 1};
}

void DemoRack::setPluggedIn(std::size_t index, bool isPluggedIn) {
  if (device(index).isPresent() == isPluggedIn) return;
  isPluggedIn ? hardware_.replug(devices_[index]) : hardware_.removeDevice(devices_[index]);
}

void DemoRack::setTaken(std::size_t index, bool isTaken) {
  if (row(index).isTaken != isTaken) device(index).setHogOwner(isTaken ? otherProgram : -1);
}

void DemoRack::setStalled(std::size_t index, bool isStalled) {
  isStalled ? device(index).stall() : device(index).goOn();
}

void DemoRack::reclock(std::size_t index) {
  if (!row(index).canReclock) return;
  const auto& script = device(index).config();
  const auto current = std::ranges::find(script.rates, script.nominalRate, &AudioValueRange::mMinimum);
  const bool isLast = current == script.rates.end() || std::next(current) == script.rates.end();
  device(index).setNominalRateFromOutside(isLast ? script.rates.front().mMinimum : std::next(current)->mMinimum);
}

}  // namespace tolvane
