// The output units of the hardware: the way that each is given to its device, and what listeners are told of it.

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "platform/pipewire/PipeWireAudioHardware.h"
#include "platform/pipewire/facts/PathAlterations.h"

namespace tolvane {
namespace {

/// What the direct side announces of a device, and is passed on while the device is reached that way.
constexpr std::array forwarded{
    globalAddress(kAudioDevicePropertyNominalSampleRate), globalAddress(kAudioDevicePropertyActualSampleRate),
    globalAddress(kAudioDevicePropertyDeviceIsAlive),     outputAddress(kAudioDevicePropertyStreamConfiguration),
    globalAddress(kAudioDevicePropertyBufferFrameSize),   globalAddress(kAudioDevicePropertyProcessingIsActive)};

}  // namespace

std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> PipeWireAudioHardware::newInstance() {
  PipeWireOutputUnit::Host& host = *this;  // a private base: only in here are the two the same
  return std::make_unique<PipeWireOutputUnit>(host);
}

bool PipeWireAudioHardware::hasDevice(AudioObjectID id) const {
  const Device* device = deviceOf(id);
  return device != nullptr && device->id == id;
}

std::expected<PipeWireOutputUnit::Path, OSStatus> PipeWireAudioHardware::openPath(AudioObjectID id,
                                                                                  PipeWireOutputUnit& unit) {
  if (!hasDevice(id)) return std::unexpected(kAudioHardwareBadDeviceError);
  Device& device = *deviceOf(id);
  if (device.unit != nullptr && device.unit != &unit) return std::unexpected(kAudioDevicePermissionsError);
  // An owner that cannot be read shows when the card is opened.
  if (const auto owner = hogOwner(device); owner && *owner != -1 && *owner != ownProcess())
    return std::unexpected(kAudioDevicePermissionsError);
  const bool wasShared = !isReachedDirectly(device);
  if (wasShared) waitForSink(device);
  if (!device.isListed) return std::unexpected(kAudioHardwareBadDeviceError);
  PipeWireOutputUnit::Path path;
  path.name = device.name;
  if (isReachedDirectly(device)) {
    path.direct = device.direct;
    if (!device.cardBefore) device.cardBefore = CardBefore{device.sink.has_value(), server_->facts().hasSessionManager};
    // The sink that the rate was meant for has not come.
    if (wasShared && device.chosenRate) chooseCardRate(device, *device.chosenRate);
  } else if (device.sink) {
    // The sink gives up what it has when it is set to another rate: the end of the last track.
    waitUntilHeard(device);
    const PipeWireSink* sink = sinkOf(device);
    if (sink == nullptr) return std::unexpected(kAudioHardwareNotRunningError);
    path.sink = *device.sink;
    path.serial = sink->serial;
    // The rate that it has already is one that it is to keep; a radio's link has its own, which nobody sets.
    const bool isRadio = device.transport == kAudioDeviceTransportTypeBluetooth ||
                         device.transport == kAudioDeviceTransportTypeBluetoothLE;
    path.rate = device.chosenRate;
    if (!path.rate && !isRadio) path.rate = sharedNominalRate(device);
  } else {
    return std::unexpected(kAudioHardwareNotRunningError);
  }
  device.unit = &unit;
  return path;
}

void PipeWireAudioHardware::closePath(AudioObjectID id, const PipeWireOutputUnit& unit) {
  for (const auto& [uid, device] : devices_) {
    if (device->id != id || device->unit != &unit) continue;
    device->unit = nullptr;
    device->wasRunning = false;
    device->unitRate.reset();
    device->toldAlteration.reset();
    letGoOfCard(*device);
  }
}

void PipeWireAudioHardware::chooseCardRate(const Device& device, double rate) {
  const OSStatus status =
      direct_.setPropertyData(device.direct, globalAddress(kAudioDevicePropertyNominalSampleRate), rate);
  if (status != noErr)
    log_.write(LogLevel::standard, audioHardwareCategory,
               fmt::format("{} does not take {} Hz: {}", device.name, rate, status));
}

/// The rate is the device's, whichever way it is reached, and the unit is not asked for it again. Of the buffer, which
/// is another one, the listeners are told.
void PipeWireAudioHardware::movedToCard(AudioObjectID id, std::optional<double> rate) {
  const Device* device = deviceOf(id);
  if (device == nullptr) return;
  if (rate) chooseCardRate(*device, *rate);
  listeners().notify(id, globalAddress(kAudioDevicePropertyBufferFrameSize));
}

void PipeWireAudioHardware::unitChanged(AudioObjectID id) {
  Device* device = deviceOf(id);
  if (device == nullptr || device->unit == nullptr) return;
  const SoundServerStream* stream = device->unit->stream();
  const bool isRunning = stream != nullptr && device->unit->isRunning();
  if (std::exchange(device->wasRunning, isRunning) && stream != nullptr && !isRunning)
    device->heardUntil = runLoop_.now() + stream->delay();
  publish(*device);
}

// What listeners are told.

void PipeWireAudioHardware::observeDirect() {
  for (const Device* device : listed_) {
    if (device->direct == kAudioObjectUnknown || ownerListeners_.contains(device->direct)) continue;
    const auto added =
        direct_.addPropertyListener(device->direct, hogModeAddress, [this, uid = device->uid](const auto&) {
          Device& known = *devices_.at(uid);
          if (known.isGiveBackDue) letGoOfCard(known);
          publish(known);
        });
    if (added) ownerListeners_.emplace(device->direct, *added);
  }
}

/// What the direct side announces goes to those who listened there when it changed: one who begins to listen after a
/// change, though before the news of it, has read the new value.
void PipeWireAudioHardware::listenDirectly(ListenerID listener, const Device& device, bool ofStream,
                                           const AudioObjectPropertyAddress& address) {
  if (device.direct == kAudioObjectUnknown || address == hogModeAddress) return;
  if (!ofStream && std::ranges::find(forwarded, address) == forwarded.end()) return;
  const auto added =
      direct_.addPropertyListener(ofStream ? directStream(device) : device.direct, address,
                                  [this, uid = device.uid, listener](const AudioObjectPropertyAddress& changed) {
                                    const Device& known = *devices_.at(uid);
                                    if (known.isListed && isReachedDirectly(known))
                                      listeners().deliver(listener, changed);
                                  });
  if (added) directListeners_.emplace(listener, *added);
}

/// Also when music begins to play again and nothing has changed: a verdict that was given while it paused knew no
/// format.
void PipeWireAudioHardware::publishAlteration(Device& device) {
  const std::string reason = detailsOf(sharedAlterations(device));
  if (!device.toldAlteration.isNews(reason)) return;
  if (device.toldAlteration.isWorthALine(reason))
    log_.write(LogLevel::standard, audioHardwareCategory,
               reason.empty() ? fmt::format("{}: nothing alters the samples now", device.name)
                              : fmt::format("{}: samples are altered. {}", device.name, reason));
  device.toldAlteration.tell(reason);
  listeners().notify(device.id, globalAddress(kAudioDevicePropertyProcessingIsActive));
}

/// Whether another program has the card open too, and whether taking the card may succeed now where it has failed
/// before.
void PipeWireAudioHardware::lookForOthers(Device& device) {
  if (playingStream(device) == nullptr || device.direct == kAudioObjectUnknown) {
    device.contestWatch.stopLooking();
    return device.retakeObstacles.stopLooking();
  }
  // Readable while exactly one substream of the card is open, whatever its format is.
  const bool isContested =
      !direct_.propertyData(device.direct, globalAddress(kAudioDevicePropertyActualSampleRate)).has_value();
  if (device.contestWatch.isNews(isContested, runLoop_.now()))
    listeners().notify(device.id, globalAddress(kAudioDevicePropertyProcessingIsActive));
  const PipeWireFacts& facts = server_->facts();
  const auto others =
      device.sink ? othersOn(facts, *device.sink, playingStream(device)->facts().node) : std::set<std::uint32_t>();
  if (device.retakeObstacles.haveEased(nodesIn(facts), others, isContested, runLoop_.now())) device.retakePause.reset();
}

/// Tells the listeners what has become of the device, when it is not what they were told.
void PipeWireAudioHardware::publish(Device& device) {
  if (!device.isListed) return;
  const bool isShared = !isReachedDirectly(device);
  if (playingStream(device) != nullptr) {
    if (const PipeWireSink* sink = sinkOf(device); sink != nullptr && sink->format)
      device.unitRate = sink->format->rate;
    publishAlteration(device);
  } else {
    device.toldAlteration.reset();
  }
  if (isShared) {
    const auto rate = sharedNominalRate(device);
    if (std::exchange(device.toldRate, rate) != rate)
      listeners().notify(device.id, globalAddress(kAudioDevicePropertyNominalSampleRate));
  }
  lookForOthers(device);
  const bool isDue = isReopeningDue(device);
  if (std::exchange(device.toldReopening, isDue) != isDue)
    listeners().notify(device.id, globalAddress(kAudioDevicePropertyReopeningIsDue));
  // While the owner cannot be read, the last one counts.
  if (const auto owner = hogOwner(device); owner && device.direct != kAudioObjectUnknown) {
    if (device.toldOwner && *device.toldOwner != *owner) {
      if (*owner == -1) device.retakePause.reset();  // the program that was in the way has left
      listeners().notify(device.id, hogModeAddress);
    }
    device.toldOwner = *owner;
  }
}

}  // namespace tolvane
