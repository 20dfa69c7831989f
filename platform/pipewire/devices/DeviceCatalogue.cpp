#include "platform/pipewire/devices/DeviceCatalogue.h"

#include <fmt/format.h>

#include <algorithm>

#include "platform/PropertyReading.h"
#include "platform/pipewire/units/PipeWireOutputUnit.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;

constexpr auto devicesAddress = globalAddress(kAudioHardwarePropertyDevices);
constexpr auto defaultAddress = globalAddress(kAudioHardwarePropertyDefaultOutputDevice);
constexpr auto afterLimit = 10ms;

}  // namespace

DeviceCatalogue::DeviceCatalogue(const DeviceServices& services, const DeviceView& view, PropertyListeners& listeners,
                                 Events events)
    : services_(services), view_(view), listeners_(listeners), events_(std::move(events)) {}

DeviceCatalogue::~DeviceCatalogue() = default;

const PipeWireDevice* DeviceCatalogue::deviceOf(AudioObjectID id) const {
  const auto found = std::ranges::find_if(
      listed_, [id](const PipeWireDevice* device) { return device->id == id || device->stream == id; });
  return found == listed_.end() ? nullptr : *found;
}

PipeWireDevice* DeviceCatalogue::deviceOf(AudioObjectID id) {
  return const_cast<PipeWireDevice*>(std::as_const(*this).deviceOf(id));
}

void DeviceCatalogue::forEachKnown(const std::function<void(PipeWireDevice&)>& visit) const {
  for (const auto& [uid, device] : devices_) visit(*device);
}

/// The server's default, except for a device whose sink is temporarily away: then the server has chosen another one.
AudioObjectID DeviceCatalogue::defaultDevice() const {
  const PipeWireDevice* before = deviceOf(reportedDefault_);
  if (before != nullptr && !before->state.hasSink() &&
      (view_.hogOwner(*before) == DeviceView::ownProcess() || view_.expectsSink(*before)))
    return reportedDefault_;
  for (const PipeWireDevice* device : listed_) {
    const PipeWireSink* sink = view_.sinkOf(*device);
    if (sink != nullptr && sink->nodeName == services_.server.facts().defaultSinkName) return device->id;
  }
  const auto firstSink =
      std::ranges::find_if(listed_, [](const PipeWireDevice* device) { return device->state.hasSink(); });
  if (firstSink != listed_.end()) return (*firstSink)->id;
  const auto cardDefault =
      readProperty<std::uint32_t>(services_.cardHardware, kAudioObjectSystemObject, defaultAddress).value_or(0);
  const auto same =
      std::ranges::find(listed_, cardDefault, [](const PipeWireDevice* device) { return device->cardDevice; });
  if (cardDefault != kAudioObjectUnknown && same != listed_.end()) return (*same)->id;
  return listed_.empty() ? kAudioObjectUnknown : listed_.front()->id;
}

// Devices that come and go.

std::vector<CardDevice> DeviceCatalogue::cardDevices() const {
  const AudioHardware& hardware = services_.cardHardware;
  std::vector<CardDevice> devices;
  const auto ids = readProperty<std::vector<std::uint32_t>>(hardware, kAudioObjectSystemObject, devicesAddress);
  for (const AudioObjectID id : ids.value_or(std::vector<std::uint32_t>{})) {
    const auto text = [&](FourCharCode selector) {
      return readProperty<std::string>(hardware, id, globalAddress(selector)).value_or("");
    };
    devices.push_back({id, text(kAudioDevicePropertyDeviceUID), text(kAudioObjectPropertyName),
                       readProperty<std::uint32_t>(hardware, id, globalAddress(kAudioDevicePropertyTransportType))
                           .value_or(kAudioDeviceTransportTypeUnknown)});
  }
  return devices;
}

/// Cards that the server will use again in a moment, or when they are returned: their devices stay unchanged.
std::set<std::string> DeviceCatalogue::keptCards() const {
  std::set<std::string> cards;
  for (const PipeWireDevice* device : listed_) {
    const bool hasCard = device->cardDevice != kAudioObjectUnknown;
    if (device->isUnitOnCard() || view_.expectsSink(*device) ||
        (hasCard && view_.hogOwner(*device) == DeviceView::ownProcess()))
      cards.insert(cardPart(device->uid));
  }
  return cards;
}

std::vector<ListedDevice> DeviceCatalogue::listedBefore() const {
  std::vector<ListedDevice> before;
  for (const PipeWireDevice* device : listed_)
    before.push_back({{device->uid, device->name, device->transport, device->state.sink(), device->cardDevice},
                      view_.expectsSink(*device)});
  return before;
}

void DeviceCatalogue::refresh() {
  const PipeWireFacts& facts = services_.server.facts();
  // A sink that goes alone, without a card of this machine, such as a headset's, is assumed to be gone permanently.
  for (PipeWireDevice* device : listed_) {
    if (device->state.hasSink() && !facts.sinks.contains(*device->state.sink()))
      loseSink(*device, kAudioHardwareBadDeviceError, device->cardDevice != kAudioObjectUnknown);
  }
  const auto kept = keptCards();
  const auto found = cardDevices();
  auto merged = mergeDevices(found, facts, kept);
  std::erase_if(merged, [this](const MergedDevice& device) { return mayStillGetSink(device); });
  list(withoutComingsAndGoings(std::move(merged), listedBefore(), kept));
  events_.listed();
  logMalformed();
  for (PipeWireDevice* device : std::vector(listed_)) {
    const PipeWireSink* sink = view_.sinkOf(*device);
    if (sink != nullptr && sink->state == PipeWireSink::State::error && device->isUnitRunning())
      device->unit->markLost(kAudioHardwareNotRunningError);
    events_.lookedAt(*device);
  }
}

/// Logs each once. Any client of the server may publish such objects.
void DeviceCatalogue::logMalformed() {
  const PipeWireFacts& facts = services_.server.facts();
  std::erase_if(loggedMalformed_, [&facts](const auto& entry) { return !facts.malformed.contains(entry.first); });
  for (const auto& [id, parameters] : facts.malformed) {
    const auto sink = facts.sinks.find(id);
    const std::string whose = sink != facts.sinks.end() ? sink->second.nodeName : "a card";
    for (const std::string_view parameter : parameters)
      if (loggedMalformed_.emplace(id, parameter).second)
        services_.log.write(LogLevel::error, audioHardwareCategory,
                            fmt::format("The sound server's report of the {} of {} is malformed", parameter, whose));
  }
}

/// The kernel announces a card before the server does: for a while the new device waits for its sink.
bool DeviceCatalogue::mayStillGetSink(const MergedDevice& device) {
  if (!isWaitingForSinks_ || device.sink || devices_.contains(device.uid) || services_.server.facts().cards.empty()) {
    newcomers_.remove(device.uid);
    return false;
  }
  const auto now = services_.runLoop.now();
  if (newcomers_.add(device.uid, now))
    newcomerCheck_ = services_.runLoop.scheduleTimer(Newcomers::limit + afterLimit, false, [this] { refresh(); });
  return newcomers_.isWaiting(device.uid, now);
}

void DeviceCatalogue::list(const std::vector<MergedDevice>& merged) {
  const auto before = std::exchange(listed_, {});
  for (const MergedDevice& one : merged) {
    PipeWireDevice& device = findOrCreate(one);
    if (device.state.hasSink() && device.state.sink() != one.sink)
      loseSink(device, kAudioHardwareBadDeviceError, device.cardDevice != kAudioObjectUnknown);
    device.state.listed(one.sink, services_.runLoop.now());
    device.transport = one.transport;
    device.cardDevice = one.cardDevice;
    listed_.push_back(&device);
  }
  for (PipeWireDevice* device : before)
    if (std::ranges::find(listed_, device) == listed_.end()) unlist(*device);
  if (before != listed_) listeners_.notify(kAudioObjectSystemObject, devicesAddress);
  const AudioObjectID chosen = defaultDevice();
  if (std::exchange(reportedDefault_, chosen) != chosen) listeners_.notify(kAudioObjectSystemObject, defaultAddress);
}

void DeviceCatalogue::unlist(PipeWireDevice& device) {
  if (device.unit != nullptr) device.unit->markLost(kAudioHardwareBadDeviceError);
  device.state.unlisted(device.isUnitOnCard());
  listeners_.notify(device.id, globalAddress(kAudioDevicePropertyDeviceIsAlive));
  services_.log.write(LogLevel::info, audioHardwareCategory, fmt::format("{} has gone", device.name));
}

PipeWireDevice& DeviceCatalogue::findOrCreate(const MergedDevice& merged) {
  auto& device = devices_[merged.uid];
  if (!device) {
    const AudioObjectID id = nextId_++;
    const AudioObjectID stream = nextId_++;
    device = std::make_unique<PipeWireDevice>(services_.log, merged.uid, distinctName(merged.name), id, stream);
    services_.log.write(
        LogLevel::info, audioHardwareCategory,
        fmt::format("{} ({}) is device {}{}", device->name, merged.uid, id, merged.sink ? ", a sink" : ""));
  }
  return *device;
}

/// A device keeps its name, whichever path it is reached by.
std::string DeviceCatalogue::distinctName(const std::string& plain) const {
  const auto isTaken = [this](const std::string& name) {
    return std::ranges::any_of(devices_,
                               [&name](const auto& entry) { return entry.second && entry.second->name == name; });
  };
  std::string name = plain;
  for (int number = 2; isTaken(name); ++number) name = plain + " (" + std::to_string(number) + ")";
  return name;
}

void DeviceCatalogue::loseSink(PipeWireDevice& device, OSStatus status, bool isLikelyBack) {
  if (device.unit != nullptr) device.unit->markLost(status);
  if (isLikelyBack)
    expectSink(device);
  else
    device.state.sinkRemoved();
}

void DeviceCatalogue::expectSink(PipeWireDevice& device) {
  device.state.expectSink(services_.runLoop.now());
  expectationCheck_ =
      services_.runLoop.scheduleTimer(SinkExpectation::limit + afterLimit, false, [this] { refresh(); });
}

void DeviceCatalogue::serverLost() {
  for (PipeWireDevice* device : listed_)
    if (device->state.hasSink()) loseSink(*device, kAudioHardwareNotRunningError, true);
}

}  // namespace tolvane
