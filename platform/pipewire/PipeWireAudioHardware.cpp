#include "platform/pipewire/PipeWireAudioHardware.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/PropertyReading.h"
#include "platform/pipewire/server/PipeWireConnection.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;

constexpr auto devicesAddress = globalAddress(kAudioHardwarePropertyDevices);
constexpr auto defaultAddress = globalAddress(kAudioHardwarePropertyDefaultOutputDevice);

}  // namespace

PipeWireAudioHardware::PipeWireAudioHardware(RunLoop& runLoop, Log& log, AudioHardware& direct, DeviceCalls* calls)
    : PipeWireAudioHardware(runLoop, log, direct, [&](SoundServer::Events events) -> std::unique_ptr<SoundServer> {
        return std::make_unique<PipeWireConnection>(runLoop, log, calls, std::move(events));
      }) {}

PipeWireAudioHardware::PipeWireAudioHardware(RunLoop& runLoop, Log& log, AudioHardware& direct,
                                             const MakeServer& makeServer)
    : TabledAudioHardware(runLoop),
      runLoop_(runLoop),
      log_(log),
      direct_(direct),
      server_(makeServer({.changed = [this] { refresh(); }, .lost = [this] { serverLost(); }})) {
  for (const auto& address : {devicesAddress, defaultAddress}) {
    if (const auto listener =
            direct_.addPropertyListener(kAudioObjectSystemObject, address, [this](const auto&) { refresh(); }))
      systemListeners_.push_back(*listener);
  }
  server_->open();
  refresh();
  isListing_ = true;
}

PipeWireAudioHardware::~PipeWireAudioHardware() {
  // Nobody else would give the server its cards back.
  for (const auto& [uid, device] : devices_) {
    if (!device->switchedOff) continue;
    if (isOurs(*device)) (void)toggleDirectHog(*device);
    restoreProfile(*device);
  }
  for (const ListenerID listener : systemListeners_) direct_.removePropertyListener(listener);
  for (const auto& [device, listener] : ownerListeners_) direct_.removePropertyListener(listener);
  for (const auto& [own, listener] : directListeners_) direct_.removePropertyListener(listener);
}

// Objects and properties.

const PipeWireDevice* PipeWireAudioHardware::deviceOf(AudioObjectID id) const {
  const auto found =
      std::ranges::find_if(listed_, [id](const Device* device) { return device->id == id || device->stream == id; });
  return found == listed_.end() ? nullptr : *found;
}

PipeWireDevice* PipeWireAudioHardware::deviceOf(AudioObjectID id) {
  return const_cast<Device*>(std::as_const(*this).deviceOf(id));
}

const PipeWireSink* PipeWireAudioHardware::sinkOf(const Device& device) const {
  const auto& sinks = server_->facts().sinks;
  const auto found = device.sink ? sinks.find(*device.sink) : sinks.end();
  return found == sinks.end() ? nullptr : &found->second;
}

std::optional<PipeWireAudioHardware::Kind> PipeWireAudioHardware::kindOf(AudioObjectID object) const {
  if (object == kAudioObjectSystemObject) return Kind::system;
  const Device* device = deviceOf(object);
  if (device == nullptr) return std::nullopt;
  return device->id == object ? Kind::device : Kind::stream;
}

/// Without a card of one's own nothing can be owned, and no hardware is known that could have a volume.
bool PipeWireAudioHardware::lacks(AudioObjectID object, FourCharCode selector) const {
  if (selector == kAudioDevicePropertyReopeningIsDue) return deviceOf(object)->direct == kAudioObjectUnknown;
  if (selector == kAudioDevicePropertyHogMode || selector == kAudioDevicePropertyHogModePause ||
      selector == kAudioDevicePropertyHogModeOwnerName)
    return !direct_.hasProperty(deviceOf(object)->direct, hogModeAddress);
  if (selector == kAudioDevicePropertySoundServer) return isReachedDirectly(*deviceOf(object));
  if (selector == kAudioDevicePropertyDriver) return deviceOf(object)->direct == kAudioObjectUnknown;
  if (selector == kAudioDevicePropertyVolumeDecibels || selector == kAudioDevicePropertyChannelPositions)
    return !direct_.hasProperty(deviceOf(object)->direct, outputAddress(selector));
  return false;
}

std::expected<AudioPropertyValue, OSStatus> PipeWireAudioHardware::value(Kind kind, AudioObjectID object,
                                                                         FourCharCode selector) const {
  if (kind == Kind::device) return deviceProperty(*deviceOf(object), selector);
  if (kind == Kind::stream) return streamProperty(*deviceOf(object), selector);
  if (selector == kAudioHardwarePropertyDefaultOutputDevice) return defaultDevice();
  std::vector<std::uint32_t> ids;
  for (const Device* device : listed_) ids.push_back(device->id);
  return ids;
}

std::expected<AudioHardware::ListenerID, OSStatus> PipeWireAudioHardware::addPropertyListener(
    AudioObjectID object, const AudioObjectPropertyAddress& address, Listener listener) {
  const auto id = TabledAudioHardware::addPropertyListener(object, address, std::move(listener));
  if (const Device* device = deviceOf(object); id && device != nullptr)
    listenDirectly(*id, *device, object == device->stream, address);
  return id;
}

OSStatus PipeWireAudioHardware::removePropertyListener(ListenerID listener) {
  if (const auto found = directListeners_.find(listener); found != directListeners_.end()) {
    direct_.removePropertyListener(found->second);
    directListeners_.erase(found);
  }
  return TabledAudioHardware::removePropertyListener(listener);
}

/// The server's choice, but for a device whose sink is only away for a while: the server has chosen another one then.
AudioObjectID PipeWireAudioHardware::defaultDevice() const {
  const Device* before = deviceOf(toldDefault_);
  if (before != nullptr && !before->sink && (hogOwner(*before) == ownProcess() || expectsSink(*before)))
    return toldDefault_;
  for (const Device* device : listed_) {
    const PipeWireSink* sink = sinkOf(*device);
    if (sink != nullptr && sink->nodeName == server_->facts().defaultSinkName) return device->id;
  }
  const auto firstSink = std::ranges::find_if(listed_, [](const Device* device) { return device->sink.has_value(); });
  if (firstSink != listed_.end()) return (*firstSink)->id;
  const auto direct = readProperty<std::uint32_t>(direct_, kAudioObjectSystemObject, defaultAddress).value_or(0);
  const auto same = std::ranges::find(listed_, direct, [](const Device* device) { return device->direct; });
  if (direct != kAudioObjectUnknown && same != listed_.end()) return (*same)->id;
  return listed_.empty() ? kAudioObjectUnknown : listed_.front()->id;
}

// What comes and goes.

std::vector<DirectDevice> PipeWireAudioHardware::directDevices() const {
  std::vector<DirectDevice> devices;
  const auto ids = readProperty<std::vector<std::uint32_t>>(direct_, kAudioObjectSystemObject, devicesAddress);
  for (const AudioObjectID id : ids.value_or(std::vector<std::uint32_t>{})) {
    const auto text = [&](FourCharCode selector) {
      return readProperty<std::string>(direct_, id, globalAddress(selector)).value_or("");
    };
    devices.push_back({id, text(kAudioDevicePropertyDeviceUID), text(kAudioObjectPropertyName),
                       readProperty<std::uint32_t>(direct_, id, globalAddress(kAudioDevicePropertyTransportType))
                           .value_or(kAudioDeviceTransportTypeUnknown)});
  }
  return devices;
}

/// Cards that the server will have again in a moment, or when they are given back: their devices stay as they are.
std::set<std::string> PipeWireAudioHardware::keptCards() const {
  std::set<std::string> cards;
  for (const Device* device : listed_) {
    const bool isDirect = device->unit != nullptr && device->unit->isDirect();
    if (isDirect || expectsSink(*device) || (device->direct != 0 && hogOwner(*device) == ownProcess()))
      cards.insert(cardPart(device->uid));
  }
  return cards;
}

void PipeWireAudioHardware::refresh() {
  // A sink without a card of ours that goes alone, a headset's, has gone for good as far as anybody knows.
  for (Device* device : listed_) {
    if (device->sink && !server_->facts().sinks.contains(*device->sink))
      loseSink(*device, kAudioHardwareBadDeviceError, device->direct != kAudioObjectUnknown);
  }
  const auto kept = keptCards();
  const auto found = directDevices();
  auto merged = mergeDevices(found, server_->facts(), kept);
  std::erase_if(merged, [this](const MergedDevice& device) { return mayStillGetSink(device); });
  std::vector<ListedDevice> before;
  for (const Device* device : listed_)
    before.push_back(
        {{device->uid, device->name, device->transport, device->sink, device->direct}, expectsSink(*device)});
  listDevices(withoutComingsAndGoings(std::move(merged), before, kept));
  observeDirect();
  logMalformed();
  for (Device* device : std::vector(listed_)) {
    const PipeWireSink* sink = sinkOf(*device);
    if (sink != nullptr && sink->state == PipeWireSink::State::error && device->unit != nullptr &&
        device->unit->isRunning())
      device->unit->markLost(kAudioHardwareNotRunningError);
    publish(*device);
  }
}

/// Each once. Any client of the server may offer such objects.
void PipeWireAudioHardware::logMalformed() {
  const PipeWireFacts& facts = server_->facts();
  std::erase_if(loggedMalformed_, [&facts](const auto& entry) { return !facts.malformed.contains(entry.first); });
  for (const auto& [id, parameters] : facts.malformed) {
    const auto sink = facts.sinks.find(id);
    const std::string whose = sink != facts.sinks.end() ? sink->second.nodeName : "a card";
    for (const std::string_view parameter : parameters)
      if (loggedMalformed_.emplace(id, parameter).second)
        log_.write(LogLevel::error, audioHardwareCategory,
                   fmt::format("The sound server's report of the {} of {} is malformed", parameter, whose));
  }
}

/// The kernel announces a card before the server does: for a while the newcomer waits for the sink that people know.
bool PipeWireAudioHardware::mayStillGetSink(const MergedDevice& device) {
  if (!isListing_ || device.sink || devices_.contains(device.uid) || server_->facts().cards.empty()) {
    newcomers_.remove(device.uid);
    return false;
  }
  if (newcomers_.add(device.uid, runLoop_.now()))
    newcomerCheck_ = runLoop_.scheduleTimer(Newcomers::limit + 10ms, false, [this] { refresh(); });
  return newcomers_.isWaiting(device.uid, runLoop_.now());
}

void PipeWireAudioHardware::listDevices(const std::vector<MergedDevice>& merged) {
  const auto before = std::exchange(listed_, {});
  for (const auto& [uid, device] : devices_) device->isListed = false;
  for (const MergedDevice& one : merged) {
    Device& device = deviceNamed(one);
    if (device.sink && device.sink != one.sink)
      loseSink(device, kAudioHardwareBadDeviceError, device.direct != kAudioObjectUnknown);
    device.isListed = true;
    device.transport = one.transport;
    device.sink = one.sink;
    device.direct = one.direct;
    if (device.sink) device.sinkExpectation.end();
    listed_.push_back(&device);
  }
  for (Device* device : before) {
    if (device->isListed) continue;
    if (device->unit != nullptr) device->unit->markLost(kAudioHardwareBadDeviceError);
    device->sink.reset();
    listeners().notify(device->id, globalAddress(kAudioDevicePropertyDeviceIsAlive));
    log_.write(LogLevel::info, audioHardwareCategory, fmt::format("{} has gone", device->name));
  }
  if (before != listed_) listeners().notify(kAudioObjectSystemObject, devicesAddress);
  const AudioObjectID chosen = defaultDevice();
  if (std::exchange(toldDefault_, chosen) != chosen) listeners().notify(kAudioObjectSystemObject, defaultAddress);
}

PipeWireDevice& PipeWireAudioHardware::deviceNamed(const MergedDevice& merged) {
  auto& device = devices_[merged.uid];
  if (!device) {
    const std::string name = distinctName(merged.name);
    device = std::make_unique<Device>();
    device->uid = merged.uid;
    device->name = name;
    device->id = nextId_++;
    device->stream = nextId_++;
    log_.write(LogLevel::info, audioHardwareCategory,
               fmt::format("{} ({}) is device {}{}", name, merged.uid, device->id, merged.sink ? ", a sink" : ""));
  }
  return *device;
}

/// A name stays with its device for good, whichever way the device is reached.
std::string PipeWireAudioHardware::distinctName(const std::string& plain) const {
  const auto isTaken = [this](const std::string& name) {
    return std::ranges::any_of(devices_,
                               [&name](const auto& entry) { return entry.second && entry.second->name == name; });
  };
  std::string name = plain;
  for (int number = 2; isTaken(name); ++number) name = plain + " (" + std::to_string(number) + ")";
  return name;
}

/// `isExpected`: it is likely to come back in a moment, and its device stays listed meanwhile.
void PipeWireAudioHardware::loseSink(Device& device, OSStatus status, bool isExpected) {
  device.sink.reset();
  if (device.unit != nullptr) device.unit->markLost(status);
  if (isExpected) expectSink(device);
}

void PipeWireAudioHardware::expectSink(Device& device) {
  device.sinkExpectation.begin(runLoop_.now());
  expectation_ = runLoop_.scheduleTimer(SinkExpectation::limit + 10ms, false, [this] { refresh(); });
}

void PipeWireAudioHardware::serverLost() {
  for (Device* device : listed_) {
    if (device->sink) loseSink(*device, kAudioHardwareNotRunningError, true);
  }
}

}  // namespace tolvane
