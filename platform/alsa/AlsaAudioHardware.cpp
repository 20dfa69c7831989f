#include "platform/alsa/AlsaAudioHardware.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "platform/alsa/facts/AlsaStatus.h"

namespace tolvane {
AlsaAudioHardware::AlsaAudioHardware(RunLoop& runLoop, Log& log, std::function<bool(pid_t)> makeRealtime,
                                     DeviceReservation* reservation, const AlsaPaths& paths, DeviceCalls* calls)
    : AdapterHardware(runLoop),
      runLoop_(runLoop),
      log_(log),
      makeRealtime_(std::move(makeRealtime)),
      self_(this),
      ownCalls_(calls == nullptr ? std::make_unique<DeviceCalls>(runLoop, log) : nullptr),
      system_{
          paths,
          runLoop,
          calls == nullptr ? *ownCalls_ : *calls,
          reservation,
          [this](AudioObjectID object, FourCharCode selector) { listeners().notify(object, globalAddress(selector)); },
          self_.bind(&AlsaAudioHardware::callsSettled)},
      watcher_(runLoop, log, paths.devices,
               {.devicesMayHaveCome = [this] { refresh(); },
                .cardHasGone = [this](int card) { removeDevicesOf(card); },
                .usageMayHaveChanged = [this](int card, unsigned device) { usageChanged(card, device); }}) {
  silenceAlsaLibrary();
  if (reservation != nullptr) {
    reservation->setHandlers({.ownerMayHaveChanged = [this](int card) { reservationChanged(card); },
                              .mustYield = [this](int card) { yield(card); }});
  }
  refresh();
}

AlsaAudioHardware::~AlsaAudioHardware() {
  if (system_.reservation != nullptr) system_.reservation->setHandlers({});
}

// Objects and properties.

std::shared_ptr<AlsaDevice> AlsaAudioHardware::deviceOf(AudioObjectID deviceOrStream) const {
  for (const auto& device : devices_) {
    if (device->id() == deviceOrStream || device->streamId() == deviceOrStream) return device;
  }
  return nullptr;
}

std::optional<AlsaAudioHardware::Kind> AlsaAudioHardware::kindOf(AudioObjectID object) const {
  if (object == kAudioObjectSystemObject) return Kind::system;
  const auto device = deviceOf(object);
  if (!device) return std::nullopt;
  return device->id() == object ? Kind::device : Kind::stream;
}

bool AlsaAudioHardware::lacks(AudioObjectID object, FourCharCode selector) const {
  if (selector == kAudioDevicePropertyHogModePause || selector == kAudioDevicePropertyReopeningIsDue) return true;
  if (selector == kAudioDevicePropertySoundServer) return true;
  return selector == kAudioDevicePropertyVolumeDecibels && !deviceOf(object)->volumeDecibels();
}

std::expected<AudioPropertyValue, OSStatus> AlsaAudioHardware::value(Kind kind, AudioObjectID object,
                                                                     FourCharCode selector) const {
  if (kind == Kind::system) return systemProperty(selector);
  const auto device = deviceOf(object);
  return kind == Kind::device ? deviceProperty(*device, selector) : streamProperty(*device, selector);
}

AudioPropertyValue AlsaAudioHardware::systemProperty(FourCharCode selector) const {
  if (selector == kAudioHardwarePropertyDefaultOutputDevice) return defaultDeviceId();
  std::vector<std::uint32_t> ids;
  for (const auto& device : devices_) ids.push_back(device->id());
  return ids;
}

AudioObjectID AlsaAudioHardware::defaultDeviceId() const {
  std::vector<AlsaDeviceInfo> infos;
  for (const auto& device : devices_) infos.push_back(device->info());
  const AlsaDeviceInfo* chosen = defaultDevice(infos);
  return chosen == nullptr ? kAudioObjectUnknown : devices_[static_cast<std::size_t>(chosen - infos.data())]->id();
}

std::expected<AudioPropertyValue, OSStatus> AlsaAudioHardware::deviceProperty(AlsaDevice& device,
                                                                              FourCharCode selector) {
  using Numbers = std::vector<std::uint32_t>;
  switch (selector) {
    case kAudioObjectPropertyName:
      return device.info().name;
    case kAudioDevicePropertyDeviceUID:
      return device.info().uid;
    case kAudioDevicePropertyTransportType:
      return device.info().transport;
    case kAudioDevicePropertyNominalSampleRate:
      return asProperty(device.nominalRate());
    case kAudioDevicePropertyAvailableNominalSampleRates:
      return asProperty(device.availableRates());
    case kAudioDevicePropertyActualSampleRate:
      return asProperty(device.actualRate());
    case kAudioDevicePropertyHogMode:
      return asProperty(device.hogOwner());
    case kAudioDevicePropertyHogModeOwnerName:
      return device.hogOwnerName();
    case kAudioDevicePropertyDeviceIsAlive:
      return std::uint32_t{1};  // a device that is gone has no object any more
    case kAudioDevicePropertyStreams:
      return Numbers{device.streamId()};
    case kAudioDevicePropertyStreamConfiguration:
      return Numbers{device.channelCount()};
    case kAudioDevicePropertyBufferFrameSize:
      return device.bufferFrameSize();
    case kAudioDevicePropertyProcessingIsActive:
      return device.alterations().empty() ? std::uint32_t{0} : std::uint32_t{1};
    case kAudioDevicePropertySampleAlterations:
      return device.alterations();
    case kAudioDevicePropertyDriver:
      return device.driver();
    case kAudioDevicePropertyVolumeDecibels:
      if (const auto decibels = device.volumeDecibels()) return *decibels;
      return std::unexpected(kAudioHardwareUnknownPropertyError);
    case kAudioDevicePropertyChannelPositions:
      return asProperty(device.channelPositions());
    default:
      return std::unexpected(kAudioHardwareUnknownPropertyError);
  }
}

std::expected<AudioPropertyValue, OSStatus> AlsaAudioHardware::streamProperty(AlsaDevice& device,
                                                                              FourCharCode selector) {
  switch (selector) {
    case kAudioStreamPropertyIsActive:
      return device.isStreamActive() ? std::uint32_t{1} : std::uint32_t{0};
    case kAudioStreamPropertyPhysicalFormat:
      return asProperty(device.physicalFormat());
    case kAudioStreamPropertyPhysicalFormatSource:
      return device.physicalFormatSource();
    case kAudioStreamPropertyVirtualFormat:
      return asProperty(device.virtualFormat());
    default:
      return std::unexpected(kAudioHardwareUnknownPropertyError);
  }
}

OSStatus AlsaAudioHardware::setNominalRate(AudioObjectID device, double hertz) {
  return deviceOf(device)->setNominalRate(hertz);
}

OSStatus AlsaAudioHardware::toggleHog(AudioObjectID device) { return deviceOf(device)->toggleHog(); }

// Output units.

std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> AlsaAudioHardware::newInstance() {
  AlsaOutputUnit::Host& host = *this;  // a private base: only in here are the two the same
  return std::make_unique<AlsaOutputUnit>(host);
}

std::shared_ptr<AlsaDevice> AlsaAudioHardware::deviceWithId(AudioObjectID id) {
  auto device = deviceOf(id);
  return device && device->id() == id ? device : nullptr;
}

void AlsaAudioHardware::deviceFailed(AudioObjectID id) {
  // A device that has already gone was notified before; a device that still exists must be checked again.
  if (!deviceWithId(id)) return;
  listeners().notify(id, globalAddress(kAudioDevicePropertyDeviceIsAlive));
  watcher_.lookSoon();
}

// Devices that come and go.

AlsaAudioHardware::Ids AlsaAudioHardware::idsFor(const std::string& uid) {
  const auto [entry, isNew] = ids_.try_emplace(uid);
  if (isNew) {
    entry->second = {nextId_, nextId_ + 1};
    nextId_ += 2;
  }
  return entry->second;
}

void AlsaAudioHardware::refresh() {
  std::vector<AlsaDeviceInfo> known;
  std::set<int> cards;
  for (const auto& device : devices_) {
    known.push_back(device->info());
    cards.insert(device->info().card);
  }
  const auto facts = collectCardFacts(system_.paths, cards, [this](int card) { return readCard(card); });
  const std::vector<AlsaDeviceInfo> found = listDevices(facts, known);

  const AudioObjectID defaultBefore = defaultDeviceId();
  const auto before = std::exchange(devices_, {});
  bool changed = false;
  for (const AlsaDeviceInfo& info : found) {
    const auto same = std::ranges::find_if(before, [&](const auto& device) { return device->info() == info; });
    if (same != before.end()) {
      devices_.push_back(*same);
      continue;
    }
    const Ids ids = idsFor(info.uid);
    devices_.push_back(std::make_shared<AlsaDevice>(info, ids.device, ids.stream, system_));
    log_.write(LogLevel::info, audioHardwareCategory, fmt::format("Found {} ({})", info.name, info.uid));
    changed = true;
  }
  for (const auto& device : before) {
    if (std::ranges::find(devices_, device) != devices_.end()) continue;
    device->markGone();
    listeners().notify(device->id(), globalAddress(kAudioDevicePropertyDeviceIsAlive));
    log_.write(LogLevel::info, audioHardwareCategory, fmt::format("{} has gone", device->info().name));
    changed = true;
  }
  watchCards();
  if (changed) announceListChange(defaultBefore);
}

/// At once, without any query: a device that is plugged in again a moment later must count as new.
void AlsaAudioHardware::removeDevicesOf(int card) {
  controls_.erase(card);
  cardCalls_.erase(card);
  const AudioObjectID defaultBefore = defaultDeviceId();
  const auto gone =
      std::ranges::stable_partition(devices_, [card](const auto& device) { return device->info().card != card; });
  if (gone.empty()) return;
  for (const auto& device : gone) {
    device->markGone();
    listeners().notify(device->id(), globalAddress(kAudioDevicePropertyDeviceIsAlive));
    log_.write(LogLevel::info, audioHardwareCategory, fmt::format("{} has gone", device->info().name));
  }
  devices_.erase(gone.begin(), gone.end());
  announceListChange(defaultBefore);
}

void AlsaAudioHardware::announceListChange(AudioObjectID defaultBefore) {
  listeners().notify(kAudioObjectSystemObject, globalAddress(kAudioHardwarePropertyDevices));
  if (defaultDeviceId() == defaultBefore) return;
  listeners().notify(kAudioObjectSystemObject, globalAddress(kAudioHardwarePropertyDefaultOutputDevice));
}

void AlsaAudioHardware::watchCards() {
  for (const auto& device : devices_) {
    const int card = device->info().card;
    if (controls_.contains(card)) continue;
    if (auto watch =
            AlsaControlWatch::open(runLoop_, callsOfCard(card), card, [this, card] { removeDevicesOf(card); })) {
      controls_.emplace(card, *std::move(watch));
    }
  }
  const auto hasGone = [this](const auto& entry) {
    return std::ranges::none_of(devices_, [&](const auto& device) { return device->info().card == entry.first; });
  };
  std::erase_if(controls_, hasGone);
  std::erase_if(cardCalls_, [&](const auto& entry) { return hasGone(entry) && !entry.second->isHeldUp(); });
}

std::optional<AlsaCardFacts> AlsaAudioHardware::readCard(int card) {
  const auto calls = callsOfCard(card);
  // Opening or closing a PCM holds a lock of its card that blocks reading those facts.
  const bool isHeldUp = std::ranges::any_of(
      devices_, [card](const auto& device) { return device->info().card == card && device->calls().isHeldUp(); });
  if (!isHeldUp) {
    if (auto facts = calls->run([paths = system_.paths, card] { return readCardFacts(paths, card); })) return *facts;
  }
  AlsaCardFacts unreadable;
  unreadable.index = card;
  unreadable.isReadable = false;
  return unreadable;
}

/// Named after its device if that is known.
std::shared_ptr<AlsaDeviceCalls> AlsaAudioHardware::callsOfCard(int card) {
  const auto device = std::ranges::find_if(devices_, [card](const auto& d) { return d->info().card == card; });
  const std::string name = device != devices_.end() ? (*device)->info().name : fmt::format("Sound card {}", card);
  auto& calls = cardCalls_[card];
  if (!calls || (!calls->isHeldUp() && calls->name() != name))
    calls = std::make_shared<AlsaDeviceCalls>(system_.calls, name,
                                              [settled = system_.callsSettled, card] { settled(card); });
  return calls;
}

/// A driver call has returned: reads what was skipped meanwhile; the owner can be read again.
void AlsaAudioHardware::callsSettled(int card) {
  for (const auto& device : devices_) {
    if (device->info().card != card) continue;
    device->checkOwner();
    listeners().notify(device->id(), globalAddress(kAudioDevicePropertyHogMode));
  }
  watcher_.lookSoon();
}

void AlsaAudioHardware::usageChanged(int card, unsigned device) {
  for (const auto& candidate : devices_) {
    if (candidate->info().card == card && candidate->info().device == device) candidate->checkOwner();
  }
}

/// A reservation applies to a whole card.
void AlsaAudioHardware::reservationChanged(int card) {
  for (const auto& device : devices_) {
    if (device->info().card == card) device->checkOwner();
  }
}

void AlsaAudioHardware::yield(int card) {
  for (const auto& device : devices_) {
    if (device->info().card == card) device->yield();
  }
}

}  // namespace tolvane
