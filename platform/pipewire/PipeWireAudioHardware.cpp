#include "platform/pipewire/PipeWireAudioHardware.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "platform/PropertyReading.h"
#include "platform/pipewire/server/PipeWireConnection.h"

namespace tolvane {

PipeWireAudioHardware::PipeWireAudioHardware(RunLoop& runLoop, Log& log, AudioHardware& cardHardware,
                                             DeviceCalls* calls)
    : PipeWireAudioHardware(runLoop, log, cardHardware,
                            [&](SoundServer::Events events) -> std::unique_ptr<SoundServer> {
                              return std::make_unique<PipeWireConnection>(runLoop, log, calls, std::move(events));
                            }) {}

PipeWireAudioHardware::PipeWireAudioHardware(RunLoop& runLoop, Log& log, AudioHardware& cardHardware,
                                             const MakeServer& makeServer)
    : AdapterHardware(runLoop),
      server_(makeServer({.changed = [this] { catalogue_.refresh(); }, .lost = [this] { catalogue_.serverLost(); }})),
      services_{runLoop, log, cardHardware, *server_},
      view_(services_),
      shared_(services_, view_),
      catalogue_(services_, view_, listeners(),
                 {.listed = [this] { notifications_.observeOwners(); },
                  .lookedAt = [this](Device& device) { notifications_.publish(device); }}),
      notifications_(services_, view_, shared_, catalogue_, listeners(),
                     [this](Device& device) { taking_.ownerChanged(device); }),
      taking_(services_, view_, catalogue_, notifications_),
      units_(services_, view_, shared_, catalogue_, notifications_, taking_, listeners()) {
  for (const FourCharCode selector : {kAudioHardwarePropertyDevices, kAudioHardwarePropertyDefaultOutputDevice}) {
    if (const auto listener = cardHardware.addPropertyListener(kAudioObjectSystemObject, globalAddress(selector),
                                                               [this](const auto&) { catalogue_.refresh(); }))
      systemListeners_.push_back(*listener);
  }
  server_->open();
  catalogue_.refresh();
  catalogue_.beginWaitingForSinks();
}

PipeWireAudioHardware::~PipeWireAudioHardware() {
  for (const ListenerID listener : systemListeners_) services_.cardHardware.removePropertyListener(listener);
}

std::expected<AudioHardware::ListenerID, OSStatus> PipeWireAudioHardware::addPropertyListener(
    AudioObjectID object, const AudioObjectPropertyAddress& address, Listener listener) {
  const auto id = AdapterHardware::addPropertyListener(object, address, std::move(listener));
  if (const Device* device = catalogue_.deviceOf(object); id && device != nullptr)
    notifications_.passOn(*id, *device, object == device->stream, address);
  return id;
}

OSStatus PipeWireAudioHardware::removePropertyListener(ListenerID listener) {
  notifications_.endPassingOn(listener);
  return AdapterHardware::removePropertyListener(listener);
}

std::optional<PipeWireAudioHardware::Kind> PipeWireAudioHardware::kindOf(AudioObjectID object) const {
  if (object == kAudioObjectSystemObject) return Kind::system;
  const Device* device = catalogue_.deviceOf(object);
  if (device == nullptr) return std::nullopt;
  return device->id == object ? Kind::device : Kind::stream;
}

/// A device without a card of this machine cannot be owned, and has no known hardware volume.
bool PipeWireAudioHardware::lacks(AudioObjectID object, FourCharCode selector) const {
  const Device* device = catalogue_.deviceOf(object);
  switch (selector) {
    case kAudioDevicePropertyReopeningIsDue:
    case kAudioDevicePropertyDriver:
      return device->cardDevice == kAudioObjectUnknown;
    case kAudioDevicePropertyHogMode:
    case kAudioDevicePropertyHogModePause:
    case kAudioDevicePropertyHogModeOwnerName:
      return !services_.cardHardware.hasProperty(device->cardDevice, hogModeAddress);
    case kAudioDevicePropertySoundServer:
      return view_.isOnCardPath(*device);
    case kAudioDevicePropertyVolumeDecibels:
    case kAudioDevicePropertyChannelPositions:
      return !services_.cardHardware.hasProperty(device->cardDevice, outputAddress(selector));
    default:
      return false;
  }
}

PipeWireAudioHardware::Value PipeWireAudioHardware::value(Kind kind, AudioObjectID object,
                                                          FourCharCode selector) const {
  if (kind == Kind::system) return systemProperty(selector);
  const Device& device = *catalogue_.deviceOf(object);
  return kind == Kind::device ? deviceProperty(device, selector) : streamProperty(device, selector);
}

PipeWireAudioHardware::Value PipeWireAudioHardware::systemProperty(FourCharCode selector) const {
  if (selector == kAudioHardwarePropertyDefaultOutputDevice) return catalogue_.defaultDevice();
  std::vector<std::uint32_t> ids;
  for (const Device* device : catalogue_.listed()) ids.push_back(device->id);
  return ids;
}

PipeWireAudioHardware::Value PipeWireAudioHardware::deviceProperty(const Device& device, FourCharCode selector) const {
  switch (selector) {
    case kAudioObjectPropertyName:
      return device.name;
    case kAudioDevicePropertyDeviceUID:
      return device.uid;
    case kAudioDevicePropertyTransportType:
      return device.transport;
    case kAudioDevicePropertyHogMode:
      return owner(device);
    case kAudioDevicePropertyHogModePause:
      return view_.secondsUntilRetake(device);
    case kAudioDevicePropertyHogModeOwnerName:
      return ownerName(device);
    case kAudioDevicePropertyReopeningIsDue:
      return view_.isReopeningDue(device) ? std::uint32_t{1} : std::uint32_t{0};
    case kAudioDevicePropertyDeviceIsAlive:
      return std::uint32_t{1};  // a device that is gone has no object any more
    case kAudioDevicePropertySampleAlterations:
      return alterations(device);
    case kAudioDevicePropertyProcessingIsActive:
      return alterations(device).empty() ? std::uint32_t{0} : std::uint32_t{1};
    case kAudioDevicePropertyStreams:
      return std::vector<std::uint32_t>{device.stream};
    case kAudioDevicePropertySoundServer:
      return server_->serverName();
    default:
      return pathProperty(device, selector);
  }
}

/// The card's own properties, and those that depend on the path to the device.
PipeWireAudioHardware::Value PipeWireAudioHardware::pathProperty(const Device& device, FourCharCode selector) const {
  const AudioHardware& cardHardware = services_.cardHardware;
  switch (selector) {
    case kAudioDevicePropertyDriver:
      return cardHardware.propertyData(device.cardDevice, globalAddress(selector));
    case kAudioDevicePropertyVolumeDecibels:
    case kAudioDevicePropertyChannelPositions:
      return cardHardware.propertyData(device.cardDevice, outputAddress(selector));
    default:
      break;
  }
  if (!view_.isOnCardPath(device)) return shared_.ofDevice(device, selector);
  const bool isOfTheOutput = selector == kAudioDevicePropertyStreamConfiguration;
  return cardHardware.propertyData(device.cardDevice,
                                   isOfTheOutput ? outputAddress(selector) : globalAddress(selector));
}

PipeWireAudioHardware::Value PipeWireAudioHardware::streamProperty(const Device& device, FourCharCode selector) const {
  if (!view_.isOnCardPath(device)) return shared_.ofStream(device, selector);
  return services_.cardHardware.propertyData(view_.cardStream(device), globalAddress(selector));
}

PipeWireAudioHardware::Value PipeWireAudioHardware::owner(const Device& device) const {
  const auto process = view_.hogOwner(device);
  if (!process) return std::unexpected(process.error());
  return *process;
}

/// A server that has the card does not count as its owner.
PipeWireAudioHardware::Value PipeWireAudioHardware::ownerName(const Device& device) const {
  if (view_.hogOwner(device).value_or(-1) <= 0) return std::string();
  return services_.cardHardware.propertyData(device.cardDevice, globalAddress(kAudioDevicePropertyHogModeOwnerName));
}

/// The alterations of the samples; none if the card path cannot report them.
std::vector<SampleAlteration> PipeWireAudioHardware::alterations(const Device& device) const {
  if (!view_.isOnCardPath(device)) return shared_.alterations(device);
  constexpr auto address = globalAddress(kAudioDevicePropertySampleAlterations);
  if (!services_.cardHardware.hasProperty(device.cardDevice, address)) return {};
  const auto reported = readProperty<std::vector<SampleAlteration>>(services_.cardHardware, device.cardDevice, address);
  if (reported) return *reported;
  return {SampleAlteration::unreadable()};
}

OSStatus PipeWireAudioHardware::setNominalRate(AudioObjectID id, double rate) {
  Device& device = *catalogue_.deviceOf(id);
  if (view_.isOnCardPath(device))
    return services_.cardHardware.setPropertyData(device.cardDevice,
                                                  globalAddress(kAudioDevicePropertyNominalSampleRate), rate);
  if (!(rate >= 1) || rate > 10'000'000 || rate != std::floor(rate)) return kAudioDeviceUnsupportedFormatError;
  if (device.isUnitOnSink()) return rate == shared_.nominalRate(device) ? noErr : kAudioHardwareIllegalOperationError;
  // While the sink is coming back its rates are unknown; the unit will read the rate at which it runs.
  if (device.state.hasSink() && std::ranges::none_of(shared_.rates(device), [rate](const AudioValueRange& range) {
        return range.mMinimum <= rate && rate <= range.mMaximum;
      }))
    return kAudioDeviceUnsupportedFormatError;
  device.chosenRate = rate;
  notifications_.publish(device);
  return noErr;
}

}  // namespace tolvane
