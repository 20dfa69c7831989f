#include "platform/simulated/SimulatedOutputUnit.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/conversion/PcmLayout.h"
#include "platform/simulated/SimulatedAudioHardware.h"

namespace tolvane {

int SimulatedOutputUnit::liveCount_ = 0;

SimulatedOutputUnit::SimulatedOutputUnit(SimulatedAudioHardware& hardware)
    : hardware_(hardware), runLoop_(hardware.runLoop()), alarm_(runLoop_.makeHardwareAlarm([this] { act(); })) {
  ++liveCount_;
  hardware_.unitWasMade();
}

SimulatedOutputUnit::~SimulatedOutputUnit() {
  hardware_.trace().add(TraceCategory::unit, "unit: destroy");
  endRun();
  closeDevice();
  hardware_.unitHasGone();
  --liveCount_;
}

OSStatus SimulatedOutputUnit::setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                                          const AudioUnitPropertyValue& value) {
  if (const OSStatus status = OutputUnitSettings::placeStatus(property, scope, element); status != noErr) return status;
  if (const OSStatus status = admit(property, scope, value); status != noErr) return status;
  return AdapterOutputUnit::setProperty(property, scope, element, value);
}

bool SimulatedOutputUnit::hasDevice(AudioObjectID id) const {
  const SimulatedDevice* device = hardware_.presentDevice(id);
  return device != nullptr && !device->config().isInputOnly;
}

OSStatus SimulatedOutputUnit::admit(AudioUnitProperty property, AudioUnitScope scope,
                                    const AudioUnitPropertyValue& value) {
  const auto* number = std::get_if<std::uint32_t>(&value);
  switch (property) {
    case AudioUnitProperty::currentDevice: {
      if (number == nullptr) return noErr;
      const SimulatedDevice* device = hardware_.presentDevice(*number);
      return admit(UnitStage::setCurrentDevice, "unit: set device ", device == nullptr ? "?" : device->config().name);
    }
    case AudioUnitProperty::enableIO: {
      if (number == nullptr || *number > 1) return noErr;
      const bool isOutput = scope == AudioUnitScope::output;
      return admit(isOutput ? UnitStage::enableOutput : UnitStage::disableInput,
                   *number == 1 ? "unit: enable " : "unit: disable ", isOutput ? "output" : "input");
    }
    case AudioUnitProperty::streamFormat:
      if (!std::holds_alternative<AudioStreamBasicDescription>(value)) return noErr;
      return admit(UnitStage::setFormat, "unit: set format");
    case AudioUnitProperty::renderQuality:
      if (number == nullptr || *number > kRenderQuality_Max) return noErr;
      return admit(UnitStage::renderQuality, "unit: set render quality ", std::to_string(*number));
    case AudioUnitProperty::setRenderCallback:
      if (!std::holds_alternative<AURenderCallback>(value)) return noErr;
      return admit(UnitStage::setCallback, "unit: set callback");
    default:
      return noErr;
  }
}

OSStatus SimulatedOutputUnit::admit(UnitStage stage, std::string_view what, std::string_view detail) {
  hardware_.trace().add(TraceCategory::unit, what, detail);
  return hardware_.unitFaults().take(stage);
}

std::expected<AudioUnitPropertyValue, OSStatus> SimulatedOutputUnit::property(AudioUnitProperty property,
                                                                              AudioUnitScope scope,
                                                                              std::uint32_t element) const {
  if (property != AudioUnitProperty::streamFormat) return AdapterOutputUnit::property(property, scope, element);
  if (const OSStatus fault = ask(UnitStage::readFormat, "unit: read format"); fault != noErr)
    return std::unexpected(fault);
  auto format = AdapterOutputUnit::property(property, scope, element);
  if (format && hardware_.reportedClientFormat()) format = *hardware_.reportedClientFormat();
  return format;
}

OSStatus SimulatedOutputUnit::ask(UnitStage stage, std::string_view what) const {
  hardware_.trace().add(TraceCategory::read, what);
  return hardware_.unitFaults().take(stage);
}

std::expected<OSStatus, OSStatus> SimulatedOutputUnit::takeRenderError() const {
  if (const OSStatus fault = ask(UnitStage::lastRenderError, "unit: read last render error"); fault != noErr)
    return std::unexpected(fault);
  return std::exchange(lastRenderError_, noErr);
}

std::expected<bool, OSStatus> SimulatedOutputUnit::isAlive() const {
  if (const OSStatus fault = ask(UnitStage::isRunning, "unit: read is running"); fault != noErr)
    return std::unexpected(fault);
  return isPlaying();
}

std::expected<double, OSStatus> SimulatedOutputUnit::sampleTime() const {
  if (const OSStatus fault = ask(UnitStage::sampleTime, "unit: read sample time"); fault != noErr)
    return std::unexpected(fault);
  const bool isReadable = device_ == nullptr || device_->sampleTimeIsReadable();
  if (!hasStarted_ || !isReadable) return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
  return earlierFrames_ + static_cast<double>(isPlaying() ? consumedFrames() : 0);
}

OSStatus SimulatedOutputUnit::initialize() {
  hardware_.trace().add(TraceCategory::unit, "unit: initialize");
  if (state_ != State::created) return noErr;
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::initialize); fault != noErr) return fault;
  if (!settings_.areComplete()) return kAudioUnitErr_FailedInitialization;
  SimulatedDevice* device = hardware_.presentDevice(settings_.device());
  if (device == nullptr) return kAudioHardwareBadDeviceError;
  if (const OSStatus status = device->open(*this); status != noErr) return status;
  device_ = device;
  deviceIsLost_ = false;
  hasStarted_ = false;
  earlierFrames_ = 0;
  framesPlayed_ = 0;
  underrunCount_ = 0;
  lastRenderError_ = noErr;
  periodFrames_ = device->periodFrames();
  ringPeriods_ = std::max(device->config().ringPeriods, 2U);
  period_.resize(std::size_t{periodFrames_} * clientFormat().mBytesPerFrame);
  channels_.reset();
  if (const auto& layout = device->config().channelLayout;
      layout && layout->channelCount() == clientFormat().mChannelsPerFrame)
    channels_ = ChannelMap::make(clientChannels(), *layout);
  moved_.resize(period_.size());
  state_ = State::initialised;
  return noErr;
}

OSStatus SimulatedOutputUnit::uninitialize() {
  hardware_.trace().add(TraceCategory::unit, "unit: uninitialize");
  const bool wasInitialised = state_ != State::created;
  endRun();
  closeDevice();
  state_ = State::created;
  return wasInitialised ? hardware_.unitFaults().take(UnitStage::uninitialize) : noErr;
}

OSStatus SimulatedOutputUnit::start() {
  hardware_.trace().add(TraceCategory::unit, "unit: start");
  if (state_ == State::created) return kAudioUnitErr_Uninitialized;
  if (isPlaying()) return noErr;
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::start); fault != noErr) return fault;
  if (deviceIsLost_) return kAudioHardwareBadDeviceError;
  state_ = State::running;
  hasDied_ = false;
  hasStarted_ = true;
  isFilled_ = false;
  renderedFrames_ = 0;
  clock_.restart(speed());
  if (deliveries_ && hardware_.recordsDeliveries()) deliveries_->begin(deliveryForm(), ringPeriods_ * periodFrames_);
  alarm_->set(runLoop_.now());
  return noErr;
}

OSStatus SimulatedOutputUnit::stop() {
  hardware_.trace().add(TraceCategory::unit, "unit: stop");
  if (state_ != State::running) return noErr;
  endRun();
  state_ = State::initialised;
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::stop); fault != noErr) return fault;
  return deviceIsLost_ ? kAudioHardwareBadDeviceError : noErr;
}

std::optional<DeliveryRecord::Form> SimulatedOutputUnit::deliveryForm() const {
  if (channels_ && channels_->mixes()) return std::nullopt;
  return DeliveryRecord::Form{clientFormat(), channels_ ? *device_->config().channelLayout : clientChannels()};
}

void SimulatedOutputUnit::closeDevice() {
  if (device_ != nullptr) device_->close(*this);
  device_ = nullptr;
}

double SimulatedOutputUnit::speed() const {
  return clientFormat().mSampleRate * (1 + device_->config().clockErrorPPM * 1e-6);
}

std::int64_t SimulatedOutputUnit::consumedFrames() const {
  return std::min(clock_.frames(runLoop_.now()), renderedFrames_);
}

/// Ends pulling at this very moment and counts what was heard; what was not is dropped.
void SimulatedOutputUnit::endRun() {
  if (!isPlaying()) return;
  deliverHeard();
  framesPlayed_ = consumedFrames();
  if (deliveries_) deliveries_->end(framesPlayed_);
  earlierFrames_ += static_cast<double>(framesPlayed_);
  unheard_.clear();
  alarm_->clear();
  hasDied_ = true;
}

void SimulatedOutputUnit::act() {
  const auto now = runLoop_.now();
  if (!isFilled_) {
    for (std::uint32_t period = 0; period < ringPeriods_; ++period) pull();
    isFilled_ = true;
    if (!device_->isStalled()) clock_.go(now);
  } else if (!clock_.isGoing()) {
    clock_.go(now);  // after an underrun
  } else {
    pull();
  }
  if (clock_.isGoing()) alarm_->set(nextPull());
}

RunLoop::TimePoint SimulatedOutputUnit::nextPull() const {
  return clock_.momentOf(renderedFrames_ - std::int64_t{ringPeriods_ - 1} * periodFrames_);
}

void SimulatedOutputUnit::pull() {
  AudioBuffer buffer{clientFormat().mChannelsPerFrame, static_cast<std::uint32_t>(period_.size()), period_.data()};
  AudioBufferList list{{&buffer, 1}};
  const OSStatus status = settings_.callback().inputProc(settings_.callback().inputProcRefCon, periodFrames_, &list);
  std::size_t filled = std::min<std::size_t>(buffer.mDataByteSize, period_.size());
  if (status != noErr) {
    lastRenderError_ = status;
    filled = 0;
  }
  if (filled < period_.size()) fillSilence(*pcmLayout(clientFormat()), std::span(period_).subspan(filled));
  if (channels_ && !channels_->mixes() && !channels_->isIdentity()) {
    channels_->spread(*pcmLayout(clientFormat()), period_.data(), moved_.data(), periodFrames_);
    period_.swap(moved_);
  }
  if (const auto flipped = hardware_.frameWithFlippedBit())
    if (*flipped >= renderedFrames_ && *flipped < renderedFrames_ + periodFrames_)
      period_[static_cast<std::size_t>(*flipped - renderedFrames_) * clientFormat().mBytesPerFrame] ^= std::byte{1};
  if (deliveries_) {
    deliveries_->put(renderedFrames_, period_.data(), periodFrames_);
    deliveries_->setPlayed(consumedFrames());
  }
  renderedFrames_ += periodFrames_;
  if (device_->config().captures) {
    deliverHeard();
    unheard_.insert(unheard_.end(), period_.begin(), period_.end());
  }
}

void SimulatedOutputUnit::deliverHeard() {
  if (unheard_.empty()) return;
  const std::size_t frame = clientFormat().mBytesPerFrame;
  const std::size_t stillInRing = static_cast<std::size_t>(renderedFrames_ - consumedFrames()) * frame;
  const std::size_t heard = unheard_.size() - std::min(unheard_.size(), stillInRing);
  device_->hear(std::span(unheard_).first(heard));
  unheard_.erase(unheard_.begin(), unheard_.begin() + static_cast<std::ptrdiff_t>(heard));
}

void SimulatedOutputUnit::deviceWentAway() {
  if (isPlaying()) {
    endRun();
    lastRenderError_ = kAudioHardwareBadDeviceError;
  }
  deviceIsLost_ = true;
  device_ = nullptr;
}

void SimulatedOutputUnit::deviceStoppedByItself(OSStatus status) {
  if (!isPlaying()) return;
  endRun();
  if (status != noErr) lastRenderError_ = status;
}

void SimulatedOutputUnit::deviceStalled() {
  if (!isPlaying()) return;
  clock_.halt(runLoop_.now());
  if (isFilled_) alarm_->clear();
}

void SimulatedOutputUnit::deviceWentOn() {
  if (!isPlaying() || !isFilled_) return;
  clock_.go(runLoop_.now());
  alarm_->set(nextPull());
}

void SimulatedOutputUnit::deviceChangedSpeed() {
  if (!isPlaying()) return;
  clock_.changeSpeed(runLoop_.now(), speed());
  if (clock_.isGoing()) alarm_->set(nextPull());
}

void SimulatedOutputUnit::deviceRanDry(RunLoop::Duration silence) {
  if (!isPlaying() || !isFilled_ || !clock_.isGoing()) return;
  clock_.halt(runLoop_.now());
  ++underrunCount_;
  alarm_->set(runLoop_.now() + silence);
}

}  // namespace tolvane
