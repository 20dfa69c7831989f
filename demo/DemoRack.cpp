#include "demo/DemoRack.h"

namespace tolvane {

namespace {

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

DemoRack::DemoRack(RunLoop& realTime) : realTime_(realTime), caughtUpTo_(realTime.now()) {
  hardware_.addDevice(studioDAC());
  hardware_.addDevice(builtInOutput());
  hardware_.addDevice(headphones());
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

}  // namespace tolvane
