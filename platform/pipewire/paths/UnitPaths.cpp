#include "platform/pipewire/paths/UnitPaths.h"

#include <fmt/format.h>

#include <utility>

namespace tolvane {

UnitPaths::UnitPaths(const DeviceServices& services, const DeviceView& view, const SharedProperties& shared,
                     DeviceCatalogue& catalogue, DeviceNotifications& notifications, CardTaking& taking,
                     PropertyListeners& listeners)
    : services_(services),
      view_(view),
      shared_(shared),
      catalogue_(catalogue),
      notifications_(notifications),
      taking_(taking),
      listeners_(listeners) {}

std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> UnitPaths::newInstance() {
  PipeWireOutputUnit::Host& host = *this;  // a private base: only in here are the two the same
  return std::make_unique<PipeWireOutputUnit>(host);
}

bool UnitPaths::hasDevice(AudioObjectID id) const {
  const PipeWireDevice* device = catalogue_.deviceOf(id);
  return device != nullptr && device->id == id;
}

std::expected<UnitPaths::Path, OSStatus> UnitPaths::openPath(AudioObjectID id, PipeWireOutputUnit& unit) {
  if (!hasDevice(id)) return std::unexpected(kAudioHardwareBadDeviceError);
  PipeWireDevice& device = *catalogue_.deviceOf(id);
  if (device.unit != nullptr && device.unit != &unit) return std::unexpected(kAudioDevicePermissionsError);
  // An owner that cannot be read is noticed when the card is opened.
  if (const auto owner = view_.hogOwner(device); owner && *owner != -1 && *owner != DeviceView::ownProcess())
    return std::unexpected(kAudioDevicePermissionsError);
  auto path = pathOf(device);
  if (path) device.unit = &unit;
  return path;
}

std::expected<UnitPaths::Path, OSStatus> UnitPaths::pathOf(PipeWireDevice& device) {
  const bool wasShared = !view_.isOnCardPath(device);
  if (wasShared) taking_.waitForSink(device);
  if (!device.state.isListed()) return std::unexpected(kAudioHardwareBadDeviceError);
  if (!view_.isOnCardPath(device)) return sharedPath(device);
  taking_.unitTakesCard(device);
  // The sink that the rate was meant for has not come.
  if (wasShared && device.chosenRate) chooseCardRate(device, *device.chosenRate);
  return Path{.name = device.name, .cardDevice = device.cardDevice, .serial = {}, .rate = std::nullopt};
}

std::expected<UnitPaths::Path, OSStatus> UnitPaths::sharedPath(const PipeWireDevice& device) {
  if (!device.state.hasSink()) return std::unexpected(kAudioHardwareNotRunningError);
  // Setting another rate makes the sink drop its buffer: the end of the last track.
  taking_.waitUntilHeard(device);
  const PipeWireSink* sink = view_.sinkOf(device);
  if (sink == nullptr) return std::unexpected(kAudioHardwareNotRunningError);
  Path path{.name = device.name, .sink = *device.state.sink(), .serial = sink->serial, .rate = device.chosenRate};
  // If no rate was chosen, the sink is to keep the one that it has; a radio link has its own rate, which cannot be set.
  const bool isRadio = device.transport == kAudioDeviceTransportTypeBluetooth ||
                       device.transport == kAudioDeviceTransportTypeBluetoothLE;
  if (!path.rate && !isRadio) path.rate = shared_.nominalRate(device);
  return path;
}

void UnitPaths::closePath(AudioObjectID id, const PipeWireOutputUnit& unit) {
  catalogue_.forEachKnown([&](PipeWireDevice& device) {
    if (device.id != id || device.unit != &unit) return;
    device.unit = nullptr;
    device.wasRunning = false;
    device.unitRate.reset();
    device.reported.alteration.reset();
    taking_.letGo(device);
  });
}

void UnitPaths::chooseCardRate(const PipeWireDevice& device, double rate) {
  const OSStatus status = services_.cardHardware.setPropertyData(
      device.cardDevice, globalAddress(kAudioDevicePropertyNominalSampleRate), rate);
  if (status != noErr)
    services_.log.write(LogLevel::standard, audioHardwareCategory,
                        fmt::format("{} does not take {} Hz: {}", device.name, rate, status));
}

/// The rate belongs to the device, whichever path is used, and no client of the unit sets it again: it is set here. The
/// buffer differs, which is notified.
void UnitPaths::movedToCard(AudioObjectID id, std::optional<double> rate) {
  const PipeWireDevice* device = catalogue_.deviceOf(id);
  if (device == nullptr) return;
  if (rate) chooseCardRate(*device, *rate);
  listeners_.notify(id, globalAddress(kAudioDevicePropertyBufferFrameSize));
}

void UnitPaths::unitChanged(AudioObjectID id) {
  PipeWireDevice* device = catalogue_.deviceOf(id);
  if (device == nullptr || device->unit == nullptr) return;
  const SoundServerStream* stream = device->unit->stream();
  const bool isRunning = stream != nullptr && device->unit->isRunning();
  if (std::exchange(device->wasRunning, isRunning) && stream != nullptr && !isRunning)
    device->heardUntil = services_.runLoop.now() + stream->delay();
  notifications_.publish(*device);
}

}  // namespace tolvane
