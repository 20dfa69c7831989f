#include "platform/pipewire/devices/DeviceNotifications.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "platform/pipewire/facts/PathAlterations.h"

namespace tolvane {
namespace {

/// Reports of the card path that are passed on while the device is reached over its card.
constexpr std::array forwarded{
    globalAddress(kAudioDevicePropertyNominalSampleRate), globalAddress(kAudioDevicePropertyActualSampleRate),
    globalAddress(kAudioDevicePropertyDeviceIsAlive),     outputAddress(kAudioDevicePropertyStreamConfiguration),
    globalAddress(kAudioDevicePropertyBufferFrameSize),   globalAddress(kAudioDevicePropertyProcessingIsActive)};

}  // namespace

DeviceNotifications::DeviceNotifications(const DeviceServices& services, const DeviceView& view,
                                         const SharedProperties& shared, const DeviceCatalogue& catalogue,
                                         PropertyListeners& listeners,
                                         std::function<void(PipeWireDevice&)> ownerChanged)
    : services_(services),
      view_(view),
      shared_(shared),
      catalogue_(catalogue),
      listeners_(listeners),
      ownerChanged_(std::move(ownerChanged)) {}

DeviceNotifications::~DeviceNotifications() {
  for (const auto& [device, listener] : ownerListeners_) services_.cardHardware.removePropertyListener(listener);
  for (const auto& [own, listener] : cardListeners_) services_.cardHardware.removePropertyListener(listener);
}

void DeviceNotifications::observeOwners() {
  for (const PipeWireDevice* device : catalogue_.listed()) {
    if (device->cardDevice == kAudioObjectUnknown || ownerListeners_.contains(device->cardDevice)) continue;
    const auto added = services_.cardHardware.addPropertyListener(device->cardDevice, hogModeAddress,
                                                                  [this, uid = device->uid](const auto&) {
                                                                    PipeWireDevice& known = catalogue_.known(uid);
                                                                    ownerChanged_(known);
                                                                    publish(known);
                                                                  });
    if (added) ownerListeners_.emplace(device->cardDevice, *added);
  }
}

/// A report of the card path is passed to the listeners that existed at the time of the change: a listener that was
/// added after the change, even before its notification, has read the new value.
void DeviceNotifications::passOn(ListenerID listener, const PipeWireDevice& device, bool ofStream,
                                 const AudioObjectPropertyAddress& address) {
  if (device.cardDevice == kAudioObjectUnknown || address == hogModeAddress) return;
  if (!ofStream && std::ranges::find(forwarded, address) == forwarded.end()) return;
  const auto added = services_.cardHardware.addPropertyListener(
      ofStream ? view_.cardStream(device) : device.cardDevice, address,
      [this, uid = device.uid, listener](const AudioObjectPropertyAddress& changed) {
        const PipeWireDevice& known = catalogue_.known(uid);
        if (known.state.isListed() && view_.isOnCardPath(known)) listeners_.deliver(listener, changed);
      });
  if (added) cardListeners_.emplace(listener, *added);
}

void DeviceNotifications::endPassingOn(ListenerID listener) {
  const auto found = cardListeners_.find(listener);
  if (found == cardListeners_.end()) return;
  services_.cardHardware.removePropertyListener(found->second);
  cardListeners_.erase(found);
}

/// Also when playback resumes and nothing has changed: a verdict given during the pause had no format.
void DeviceNotifications::publishAlteration(PipeWireDevice& device) {
  ReportedAlteration& reported = device.reported.alteration;
  const std::string reason = detailsOf(shared_.alterations(device));
  if (!reported.mustNotify(reason)) return;
  if (reported.mustLog(reason))
    services_.log.write(LogLevel::standard, audioHardwareCategory,
                        reason.empty() ? fmt::format("{}: nothing alters the samples now", device.name)
                                       : fmt::format("{}: samples are altered. {}", device.name, reason));
  reported.store(reason);
  listeners_.notify(device.id, globalAddress(kAudioDevicePropertyProcessingIsActive));
}

/// Whether another program has the card open too, and whether taking the card may succeed now after it has failed
/// before.
void DeviceNotifications::lookForOthers(PipeWireDevice& device) {
  const SoundServerStream* playing = DeviceView::playingStream(device);
  if (playing == nullptr || device.cardDevice == kAudioObjectUnknown) {
    device.contestWatch.stopLooking();
    return device.retakeObstacles.stopLooking();
  }
  const auto now = services_.runLoop.now();
  // Readable while exactly one substream of the card is open, whatever its format is.
  const bool isContested =
      !services_.cardHardware.propertyData(device.cardDevice, globalAddress(kAudioDevicePropertyActualSampleRate))
           .has_value();
  if (device.contestWatch.mustNotify(isContested, now))
    listeners_.notify(device.id, globalAddress(kAudioDevicePropertyProcessingIsActive));
  const PipeWireFacts& facts = services_.server.facts();
  const auto others =
      device.state.hasSink() ? othersOn(facts, *device.state.sink(), playing->facts().node) : std::set<std::uint32_t>();
  if (device.retakeObstacles.haveEased(nodesIn(facts), others, isContested, now)) device.retakePause.reset();
}

void DeviceNotifications::publish(PipeWireDevice& device) {
  if (!device.state.isListed()) return;
  const bool isShared = !view_.isOnCardPath(device);
  if (DeviceView::playingStream(device) != nullptr) {
    if (const PipeWireSink* sink = view_.sinkOf(device); sink != nullptr && sink->format)
      device.unitRate = sink->format->rate;
    publishAlteration(device);
  } else {
    device.reported.alteration.reset();
  }
  if (isShared) {
    const auto rate = shared_.nominalRate(device);
    if (std::exchange(device.reported.rate, rate) != rate)
      listeners_.notify(device.id, globalAddress(kAudioDevicePropertyNominalSampleRate));
  }
  lookForOthers(device);
  const bool isDue = view_.isReopeningDue(device);
  if (std::exchange(device.reported.isReopeningDue, isDue) != isDue)
    listeners_.notify(device.id, globalAddress(kAudioDevicePropertyReopeningIsDue));
  publishOwner(device);
}

/// While the owner cannot be read, the last known one counts.
void DeviceNotifications::publishOwner(PipeWireDevice& device) {
  const auto owner = view_.hogOwner(device);
  if (!owner || device.cardDevice == kAudioObjectUnknown) return;
  auto& reported = device.reported.owner;
  if (reported && *reported != *owner) {
    if (*owner == -1) device.retakePause.reset();  // the program that prevented it has released the card
    listeners_.notify(device.id, hogModeAddress);
  }
  reported = *owner;
}

}  // namespace tolvane
