#include "platform/simulated/SimulatedDevice.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/conversion/ChannelPlacement.h"
#include "platform/simulated/SimulatedOutputUnit.h"

namespace tolvane {
namespace {

constexpr std::uint32_t kUsualBufferFrameSize = 512;

/// How badly a physical format suits a client: the smallest number wins. Lossless before lossy, then the closest;
/// float clients want float, then the widest integer.
int unsuitability(const AudioStreamBasicDescription& client, const AudioStreamBasicDescription& physical) {
  const int channels = client.mChannelsPerFrame == physical.mChannelsPerFrame ? 0 : 10'000;
  const int bits = static_cast<int>(physical.mBitsPerChannel);
  const int wanted = static_cast<int>(client.mBitsPerChannel);
  if (client.isFloat()) return channels + (physical.isFloat() ? 0 : 100 - bits);
  if (!physical.isFloat() && bits >= wanted) return channels + bits - wanted;
  const bool floatHoldsIt = physical.isFloat() && (wanted <= 24 || bits == 64);
  if (floatHoldsIt) return channels + 100;
  return channels + 1000 - bits;
}

}  // namespace

SimulatedDevice::SimulatedDevice(AudioObjectID id, SimulatedDeviceConfig config, Surroundings surroundings)
    : id_(id), config_(std::move(config)), surroundings_(std::move(surroundings)) {
  if (config_.uid.empty()) config_.uid = config_.name + ":" + std::to_string(id_);
  if (config_.isInputOnly) config_.streams.clear();
  settledActualRate_ = config_.nominalRate;
  rateAlarm_ = surroundings_.runLoop.makeHardwareAlarm([this] { rateHasChanged(pendingRate_); });
  actualRateAlarm_ = surroundings_.runLoop.makeHardwareAlarm([this] {
    settledActualRate_ = config_.nominalRate;
    notifyAbout(kAudioDevicePropertyActualSampleRate);
  });
  makeStreamIDs();
}

void SimulatedDevice::makeStreamIDs() {
  streamIDs_.clear();
  for (std::size_t i = 0; i < config_.streams.size(); ++i) streamIDs_.push_back(surroundings_.newObjectID());
  formatInUse_.assign(config_.streams.size(), 0);
}

// The script.

void SimulatedDevice::notifyAbout(FourCharCode selector, FourCharCode scope) {
  surroundings_.notify(id_, {selector, scope, kAudioObjectPropertyElementMain});
}

void SimulatedDevice::notifyAboutStream(std::size_t stream, FourCharCode selector) {
  surroundings_.notify(streamIDs_.at(stream), globalAddress(selector));
}

void SimulatedDevice::setNominalRateFromOutside(double hertz) {
  rateAlarm_->clear();
  rateHasChanged(hertz);
}

void SimulatedDevice::setClockErrorPPM(double ppm) {
  config_.clockErrorPPM = ppm;
  for (auto* unit : openUnits_) unit->deviceChangedSpeed();
  notifyAbout(kAudioDevicePropertyActualSampleRate);
}

void SimulatedDevice::setHogOwner(std::int32_t pid) {
  if (std::exchange(config_.hogOwner, pid) != pid) notifyAbout(kAudioDevicePropertyHogMode);
}

void SimulatedDevice::setPhysicalFormat(std::size_t stream, std::optional<AudioStreamBasicDescription> format) {
  config_.streams.at(stream).pinnedPhysicalFormat = format;
  surroundings_.notify(streamIDs_.at(stream), globalAddress(kAudioStreamPropertyPhysicalFormat));
}

void SimulatedDevice::setStreamActive(std::size_t stream, bool isActive) {
  if (std::exchange(config_.streams.at(stream).isActive, isActive) == isActive) return;
  surroundings_.notify(streamIDs_.at(stream), globalAddress(kAudioStreamPropertyIsActive));
}

void SimulatedDevice::changeStreams(std::vector<SimulatedStreamConfig> streams) {
  config_.streams = std::move(streams);
  makeStreamIDs();
  for (auto* unit : openUnits_) chooseFormats(unit->clientFormat());
  notifyAbout(kAudioDevicePropertyStreams, kAudioObjectPropertyScopeOutput);
  notifyAbout(kAudioDevicePropertyStreamConfiguration, kAudioObjectPropertyScopeOutput);
}

void SimulatedDevice::setReopeningIsDue(bool isDue) {
  if (std::exchange(config_.isReopeningDue, isDue) != isDue) notifyAbout(kAudioDevicePropertyReopeningIsDue);
}

void SimulatedDevice::setBufferFrameSize(std::uint32_t frames) {
  if (std::exchange(config_.bufferFrameSize, frames) != frames) notifyAbout(kAudioDevicePropertyBufferFrameSize);
}

void SimulatedDevice::setAlterations(std::vector<SampleAlteration> alterations) {
  if (config_.alterations == alterations) return;
  config_.alterations = std::move(alterations);
  notifyAbout(kAudioDevicePropertyProcessingIsActive);
}

void SimulatedDevice::stall() {
  isStalled_ = true;
  for (auto* unit : openUnits_) unit->deviceStalled();
}

void SimulatedDevice::goOn() {
  isStalled_ = false;
  for (auto* unit : openUnits_) unit->deviceWentOn();
}

void SimulatedDevice::stopByItself(OSStatus renderError) {
  for (auto* unit : openUnits_) unit->deviceStoppedByItself(renderError);
}

void SimulatedDevice::raiseRenderError(OSStatus status) {
  for (auto* unit : openUnits_) unit->raiseRenderError(status);
}

void SimulatedDevice::underrun(RunLoop::Duration silence) {
  for (auto* unit : openUnits_) unit->deviceRanDry(silence);
}

const std::vector<std::byte>& SimulatedDevice::heard() {
  for (auto* unit : openUnits_) {
    if (unit->isPlaying()) unit->deliverHeard();
  }
  return heard_;
}

void SimulatedDevice::unplug() {
  isPresent_ = false;
  isStalled_ = false;
  rateAlarm_->clear();
  actualRateAlarm_->clear();
  config_.hogOwner = -1;  // ownership ends with the hardware
  for (auto* unit : std::exchange(openUnits_, {})) unit->deviceWentAway();
  notifyAbout(kAudioDevicePropertyDeviceIsAlive);
}

// Properties.

std::optional<std::size_t> SimulatedDevice::streamIndex(AudioObjectID object) const {
  const auto found = std::ranges::find(streamIDs_, object);
  if (found == streamIDs_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - streamIDs_.begin());
}

PropertyScript& SimulatedDevice::properties(AudioObjectID object) {
  const auto stream = streamIndex(object);
  return stream ? config_.streams[*stream].properties : config_.properties;
}

bool SimulatedDevice::lacks(FourCharCode selector) const {
  switch (selector) {
    case kAudioDevicePropertyActualSampleRate:
      return config_.actualRate == SimulatedActualRate::absent;
    case kAudioDevicePropertyProcessingIsActive:
    case kAudioDevicePropertySampleAlterations:
      return !config_.alterations && !config_.channelLayout;
    case kAudioDevicePropertyHogModePause:
      return !config_.hogPause;
    case kAudioDevicePropertyHogModeOwnerName:
      return !config_.hogOwnerName;
    case kAudioDevicePropertyReopeningIsDue:
      return !config_.isReopeningDue;
    case kAudioDevicePropertyDriver:
      return !config_.driver;
    case kAudioDevicePropertySoundServer:
      return !config_.soundServer;
    case kAudioStreamPropertyPhysicalFormatSource:
      return !config_.formatSource;
    case kAudioDevicePropertyVolumeDecibels:
    case kAudioDevicePropertyChannelPositions:
      return true;
    default:
      return false;
  }
}

std::expected<AudioPropertyValue, OSStatus> SimulatedDevice::read(AudioObjectID object, FourCharCode selector) const {
  const auto stream = streamIndex(object);
  return stream ? readStream(*stream, selector) : readDevice(selector);
}

std::expected<AudioPropertyValue, OSStatus> SimulatedDevice::readDevice(FourCharCode selector) const {
  switch (selector) {
    case kAudioObjectPropertyName:
      return config_.name;
    case kAudioDevicePropertyDeviceUID:
      return config_.uid;
    case kAudioDevicePropertyTransportType:
      return config_.transport;
    case kAudioDevicePropertyNominalSampleRate:
      return config_.nominalRate;
    case kAudioDevicePropertyAvailableNominalSampleRates:
      return config_.rates;
    case kAudioDevicePropertyActualSampleRate:
      return actualRate();
    case kAudioDevicePropertyHogMode:
      return config_.hogOwner;
    case kAudioDevicePropertyHogModePause:
      return *config_.hogPause;
    case kAudioDevicePropertyHogModeOwnerName:
      return config_.hogOwner == -1 ? std::string() : *config_.hogOwnerName;
    case kAudioDevicePropertyReopeningIsDue:
      return *config_.isReopeningDue ? 1U : 0U;
    case kAudioDevicePropertyDriver:
      return *config_.driver;
    case kAudioDevicePropertySoundServer:
      return *config_.soundServer;
    case kAudioDevicePropertyDeviceIsAlive:
      return std::uint32_t{1};
    case kAudioDevicePropertyStreams:
      return streamIDs_;
    case kAudioDevicePropertyStreamConfiguration: {
      std::vector<std::uint32_t> channels;
      for (std::size_t i = 0; i < streamIDs_.size(); ++i) channels.push_back(physicalFormat(i).mChannelsPerFrame);
      return channels;
    }
    case kAudioDevicePropertyBufferFrameSize:
      return config_.bufferFrameSize;
    case kAudioDevicePropertyProcessingIsActive:
      return alterations().empty() ? 0U : 1U;
    case kAudioDevicePropertySampleAlterations:
      return alterations();
    default:
      return std::unexpected(kAudioHardwareUnknownPropertyError);
  }
}

std::expected<AudioPropertyValue, OSStatus> SimulatedDevice::readStream(std::size_t stream,
                                                                        FourCharCode selector) const {
  switch (selector) {
    case kAudioStreamPropertyIsActive:
      return config_.streams[stream].isActive ? 1U : 0U;
    case kAudioStreamPropertyPhysicalFormat:
      return physicalFormat(stream);
    case kAudioStreamPropertyPhysicalFormatSource:
      return *config_.formatSource;
    case kAudioStreamPropertyVirtualFormat:
      return float32PCM(config_.nominalRate, physicalFormat(stream).mChannelsPerFrame);
    default:
      return std::unexpected(kAudioHardwareUnknownPropertyError);
  }
}

std::expected<AudioPropertyValue, OSStatus> SimulatedDevice::actualRate() const {
  const bool runs = std::ranges::any_of(openUnits_, [](const auto* unit) { return unit->isPlaying(); });
  switch (config_.actualRate) {
    case SimulatedActualRate::fixed:
      return config_.fixedActualRate;
    case SimulatedActualRate::unreadable:
      return std::unexpected(kAudioHardwareUnspecifiedError);
    case SimulatedActualRate::readableWhileRunning:
      if (!runs) return std::unexpected(kAudioHardwareNotRunningError);
      [[fallthrough]];
    default:
      return settledActualRate_ * (1 + config_.clockErrorPPM * 1e-6);
  }
}

AudioStreamBasicDescription SimulatedDevice::physicalFormat(std::size_t stream) const {
  const SimulatedStreamConfig& config = config_.streams[stream];
  AudioStreamBasicDescription format = config.pinnedPhysicalFormat.value_or(
      config.physicalFormats.empty() ? physicalInteger(16) : config.physicalFormats[formatInUse_[stream]]);
  if (!(config.pinnedPhysicalFormat && config.pinnedRate)) format.mSampleRate = config_.nominalRate;
  return format;
}

bool SimulatedDevice::isSettable(FourCharCode selector) const {
  if (selector == kAudioDevicePropertyNominalSampleRate) return config_.rateIsSettable;
  if (selector == kAudioDevicePropertyHogMode) return config_.hogIsSettable;
  return false;
}

OSStatus SimulatedDevice::setNominalRate(double hertz) {
  if (config_.hogOwner != -1 && config_.hogOwner != getpid()) return kAudioDevicePermissionsError;
  const auto holds = [&](const AudioValueRange& range) { return hertz >= range.mMinimum && hertz <= range.mMaximum; };
  if (std::ranges::none_of(config_.rates, holds)) return kAudioDeviceUnsupportedFormatError;
  if (config_.ignoresRateWrites) return noErr;
  pendingRate_ = hertz;
  if (config_.rateSettleDelay > RunLoop::Duration::zero()) {
    rateAlarm_->set(surroundings_.runLoop.now() + config_.rateSettleDelay);
  } else {
    rateAlarm_->clear();
    rateHasChanged(hertz);
  }
  return noErr;
}

OSStatus SimulatedDevice::toggleHog() {
  if (config_.hogOwner != -1 && config_.hogOwner != getpid()) return kAudioDevicePermissionsError;
  if (!config_.ignoresHogWrites) setHogOwner(config_.hogOwner == -1 ? getpid() : -1);
  return noErr;
}

void SimulatedDevice::rateHasChanged(double hertz) {
  if (std::exchange(config_.nominalRate, hertz) == hertz) return;
  notifyAbout(kAudioDevicePropertyNominalSampleRate);
  if (config_.actualRateLag > RunLoop::Duration::zero()) {
    actualRateAlarm_->set(surroundings_.runLoop.now() + config_.actualRateLag);
  } else {
    settledActualRate_ = hertz;
    notifyAbout(kAudioDevicePropertyActualSampleRate);
  }
  for (const AudioObjectID stream : streamIDs_) {
    surroundings_.notify(stream, globalAddress(kAudioStreamPropertyPhysicalFormat));
    surroundings_.notify(stream, globalAddress(kAudioStreamPropertyVirtualFormat));
  }
}

// Units.

std::uint32_t SimulatedDevice::periodFrames() const {
  if (config_.periodFrames != 0) return config_.periodFrames;
  return config_.bufferFrameSize != 0 ? config_.bufferFrameSize : kUsualBufferFrameSize;
}

OSStatus SimulatedDevice::open(SimulatedOutputUnit& unit) {
  const bool isForeign = config_.hogOwner != -1 && config_.hogOwner != getpid();
  if (isForeign && config_.foreignHogShutsOut) return kAudioDevicePermissionsError;
  if (openUnits_.size() >= config_.unitsAtOnce) return kAudioDevicePermissionsError;
  openUnits_.push_back(&unit);
  sourceBits_ = unit.sourceBits();
  chooseFormats(unit.clientFormat());
  if (config_.channelLayout) setChannelAlteration(placementAlteration(unit.clientChannels(), *config_.channelLayout));
  return noErr;
}

void SimulatedDevice::close(SimulatedOutputUnit& unit) {
  std::erase(openUnits_, &unit);
  if (openUnits_.empty()) setChannelAlteration(std::nullopt);
}

void SimulatedDevice::setChannelAlteration(std::optional<SampleAlteration> alteration) {
  if (channelAlteration_ == alteration) return;
  channelAlteration_ = std::move(alteration);
  notifyAbout(kAudioDevicePropertyProcessingIsActive);
}

std::vector<SampleAlteration> SimulatedDevice::alterations() const {
  std::vector<SampleAlteration> all = config_.alterations.value_or(std::vector<SampleAlteration>{});
  if (channelAlteration_) all.push_back(*channelAlteration_);
  return all;
}

void SimulatedDevice::chooseFormats(const AudioStreamBasicDescription& client) {
  for (std::size_t i = 0; i < config_.streams.size(); ++i) {
    const auto& formats = config_.streams[i].physicalFormats;
    const auto best = std::ranges::min_element(
        formats, {}, [&](const AudioStreamBasicDescription& format) { return unsuitability(client, format); });
    if (best == formats.end()) continue;
    const auto before = physicalFormat(i);
    formatInUse_[i] = static_cast<std::size_t>(best - formats.begin());
    if (physicalFormat(i) != before) {
      surroundings_.notify(streamIDs_[i], globalAddress(kAudioStreamPropertyPhysicalFormat));
    }
  }
}

}  // namespace tolvane
