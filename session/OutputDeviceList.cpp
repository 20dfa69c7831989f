#include "session/OutputDeviceList.h"

#include <algorithm>
#include <utility>

#include "platform/PropertyReading.h"

namespace tolvane {

namespace {

constexpr auto deviceListAddress = globalAddress(kAudioHardwarePropertyDevices);

bool hasOutput(const AudioHardware& hardware, AudioObjectID device) {
  return hardware.propertyDataSize(device, outputAddress(kAudioDevicePropertyStreams)).value_or(0) > 0;
}

}  // namespace

OutputDeviceList::OutputDeviceList(AudioHardware& hardware, std::function<void(AudioObjectID)> setOutputDevice)
    : hardware_(hardware), setOutputDevice_(std::move(setOutputDevice)), self_(this) {}

OutputDeviceList::~OutputDeviceList() {
  if (listener_) hardware_.removePropertyListener(*listener_);
}

void OutputDeviceList::start() {
  loadAudioDevices();
  if (listener_) return;
  auto listener =
      hardware_.addPropertyListener(kAudioObjectSystemObject, deviceListAddress,
                                    self_.bind([](OutputDeviceList& list, const auto&) { list.loadAudioDevices(); }));
  if (listener) listener_ = *listener;
}

void OutputDeviceList::loadAudioDevices() {
  auto devices = readDevices();
  if (!devices) return;
  devices_.assign(std::move(*devices));
  adopt(chooseDevice());
}

void OutputDeviceList::select(AudioObjectID deviceID) {
  const auto found = std::ranges::find(devices_.value(), deviceID, &AudioDevice::id);
  if (found != devices_.value().end()) adopt(*found);
}

std::optional<std::vector<AudioDevice>> OutputDeviceList::readDevices() const {
  const auto size = hardware_.propertyDataSize(kAudioObjectSystemObject, deviceListAddress);
  if (!size) return std::nullopt;
  std::vector<AudioDevice> devices;
  if (*size < sizeof(AudioObjectID)) return devices;
  const auto ids = readProperty<std::vector<std::uint32_t>>(hardware_, kAudioObjectSystemObject,
                                                            globalAddress(kAudioHardwarePropertyDevices));
  if (!ids) return std::nullopt;
  for (const AudioObjectID id : *ids) {
    if (!hasOutput(hardware_, id)) continue;
    if (auto name = readProperty<std::string>(hardware_, id, globalAddress(kAudioObjectPropertyName)))
      devices.push_back({id, std::move(*name)});
  }
  std::ranges::stable_sort(devices, {}, &AudioDevice::name);
  return devices;
}

std::optional<AudioDevice> OutputDeviceList::chooseDevice() const {
  const auto& devices = devices_.value();
  const auto& previous = selectedDevice_.value();
  if (previous && std::ranges::find(devices, *previous) != devices.end()) return previous;
  const auto defaultID = readProperty<std::uint32_t>(hardware_, kAudioObjectSystemObject,
                                                     globalAddress(kAudioHardwarePropertyDefaultOutputDevice));
  const auto found = defaultID ? std::ranges::find(devices, *defaultID, &AudioDevice::id) : devices.end();
  if (found != devices.end()) return *found;
  if (!devices.empty()) return devices.front();
  return std::nullopt;
}

void OutputDeviceList::adopt(std::optional<AudioDevice> device) {
  const auto previous = selectedDevice_.value();
  selectedDevice_.assign(device);
  if (device && (!previous || previous->id != device->id)) setOutputDevice_(device->id);
}

}  // namespace tolvane
