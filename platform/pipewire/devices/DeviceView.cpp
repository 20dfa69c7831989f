#include "platform/pipewire/devices/DeviceView.h"

#include <unistd.h>

#include <chrono>
#include <vector>

#include "platform/ProcessName.h"
#include "platform/PropertyReading.h"
#include "platform/pipewire/units/PipeWireOutputUnit.h"

namespace tolvane {
namespace {

constexpr std::int32_t noProcess = -1;

}  // namespace

std::int32_t DeviceView::ownProcess() { return static_cast<std::int32_t>(getpid()); }

const SoundServerStream* DeviceView::playingStream(const PipeWireDevice& device) {
  return device.isUnitRunning() ? device.unit->stream() : nullptr;
}

const PipeWireSink* DeviceView::sinkOf(const PipeWireDevice& device) const {
  const auto& sinks = services_.server.facts().sinks;
  const auto found = device.state.hasSink() ? sinks.find(*device.state.sink()) : sinks.end();
  return found == sinks.end() ? nullptr : &found->second;
}

bool DeviceView::expectsSink(const PipeWireDevice& device) const {
  return device.state.expectsSink(services_.runLoop.now());
}

bool DeviceView::isOnCardPath(const PipeWireDevice& device) const {
  DevicePath path{.hasCard = device.cardDevice != kAudioObjectUnknown,
                  .hasSink = device.state.hasSink(),
                  .isSinkExpected = expectsSink(device)};
  if (device.isUnitOnSink()) path.unit = DevicePath::Unit::onSink;
  if (device.isUnitOnCard()) path.unit = DevicePath::Unit::onCard;
  path.isOurs = path.unit == DevicePath::Unit::none && isOurs(device);
  return isCardPath(path);
}

std::expected<std::int32_t, OSStatus> DeviceView::cardOwner(const PipeWireDevice& device) const {
  if (device.cardDevice == kAudioObjectUnknown) return noProcess;
  const auto owner = services_.cardHardware.propertyData(device.cardDevice, hogModeAddress);
  if (!owner) return std::unexpected(owner.error());
  const auto* const pid = std::get_if<std::int32_t>(&*owner);
  return pid != nullptr ? *pid : noProcess;
}

bool DeviceView::isOurs(const PipeWireDevice& device) const { return cardOwner(device) == ownProcess(); }

std::expected<std::int32_t, OSStatus> DeviceView::hogOwner(const PipeWireDevice& device) const {
  const auto owner = cardOwner(device);
  if (!owner) return owner;
  return reportedOwner(*owner, ownProcess(), *owner != noProcess && isSoundServer(*owner), expectsSink(device));
}

double DeviceView::secondsUntilRetake(const PipeWireDevice& device) const {
  if (!device.isUnitOnSink()) return 0;
  return std::chrono::duration<double>(device.retakePause.left(services_.runLoop.now())).count();
}

bool DeviceView::isReopeningDue(const PipeWireDevice& device) const {
  const CardBefore* before = device.state.before();
  return device.isUnitOnCard() && before != nullptr && isSinkDue(*before, services_.server.facts().hasSessionManager) &&
         !isOurs(device);
}

AudioObjectID DeviceView::cardStream(const PipeWireDevice& device) const {
  const auto streams = readProperty<std::vector<std::uint32_t>>(services_.cardHardware, device.cardDevice,
                                                                outputAddress(kAudioDevicePropertyStreams));
  return streams && !streams->empty() ? streams->front() : kAudioObjectUnknown;
}

}  // namespace tolvane
