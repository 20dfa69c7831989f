#include "platform/simulated/SimulatedOutputUnit.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/simulated/SimulatedAudioHardware.h"

namespace tolvane {
namespace {

constexpr std::uint32_t kMostChannels = 64;

/// Where each property lives.
OSStatus checkPlace(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element) {
  std::uint32_t rightElement = 0;
  switch (property) {
    case AudioUnitProperty::currentDevice:
    case AudioUnitProperty::renderQuality:
    case AudioUnitProperty::lastRenderError:
    case AudioUnitProperty::isRunning:
    case AudioUnitProperty::lastRenderSampleTime:
      if (scope != AudioUnitScope::global) return kAudioUnitErr_InvalidScope;
      break;
    case AudioUnitProperty::streamFormat:
    case AudioUnitProperty::setRenderCallback:
      if (scope != AudioUnitScope::input) return kAudioUnitErr_InvalidScope;
      break;
    case AudioUnitProperty::enableIO:
      if (scope == AudioUnitScope::global) return kAudioUnitErr_InvalidScope;
      if (scope == AudioUnitScope::input) rightElement = 1;
      break;
    default:
      return kAudioUnitErr_InvalidProperty;
  }
  return element == rightElement ? noErr : kAudioUnitErr_InvalidElement;
}

bool canBeCarried(const AudioStreamBasicDescription& format) {
  if (format.mFormatID != kAudioFormatLinearPCM || !std::isfinite(format.mSampleRate) || format.mSampleRate <= 0) {
    return false;
  }
  if ((format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0) return false;
  if (format.mChannelsPerFrame == 0 || format.mChannelsPerFrame > kMostChannels) return false;
  if (format.mFramesPerPacket != 1 || format.mBytesPerPacket != format.mBytesPerFrame) return false;
  if (format.mBytesPerFrame % format.mChannelsPerFrame != 0) return false;
  const std::uint32_t bytes = format.mBytesPerFrame / format.mChannelsPerFrame;
  if (bytes == 0 || bytes > 8 || format.mBitsPerChannel == 0 || format.mBitsPerChannel > bytes * 8) return false;
  return !format.isFloat() || (format.mBitsPerChannel == bytes * 8 && (bytes == 4 || bytes == 8));
}

void fillWithSilence(std::span<std::byte> bytes, const AudioStreamBasicDescription& format) {
  std::ranges::fill(bytes, std::byte{0});
  if (format.isFloat() || format.isSignedInteger()) return;
  const std::size_t sample = format.mBytesPerFrame / format.mChannelsPerFrame;
  const std::uint32_t topBit =
      format.isAlignedHigh() ? static_cast<std::uint32_t>(sample) * 8 - 1 : format.mBitsPerChannel - 1;
  const std::size_t topByte = format.isBigEndian() ? sample - 1 - topBit / 8 : topBit / 8;
  for (std::size_t i = topByte; i < bytes.size(); i += sample) bytes[i] = std::byte(1U << topBit % 8);
}

}  // namespace

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
  if (const OSStatus status = checkPlace(property, scope, element); status != noErr) return status;
  switch (property) {
    case AudioUnitProperty::currentDevice:
      return setCurrentDevice(value);
    case AudioUnitProperty::enableIO:
      return setEnableIO(scope, value);
    case AudioUnitProperty::streamFormat:
      return setStreamFormat(value);
    case AudioUnitProperty::renderQuality:
      return setRenderQuality(value);
    case AudioUnitProperty::setRenderCallback:
      return setRenderCallback(value);
    default:
      return kAudioUnitErr_InvalidProperty;  // read only
  }
}

OSStatus SimulatedOutputUnit::setCurrentDevice(const AudioUnitPropertyValue& value) {
  const auto* id = std::get_if<std::uint32_t>(&value);
  if (id == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  const SimulatedDevice* device = hardware_.presentDevice(*id);
  hardware_.trace().add(TraceCategory::unit, "unit: set device ", device == nullptr ? "?" : device->config().name);
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::setCurrentDevice); fault != noErr) return fault;
  if (state_ != State::uninitialised) return kAudioUnitErr_Initialized;
  if (device == nullptr || device->config().isInputOnly) return kAudioHardwareBadDeviceError;
  deviceID_ = *id;
  return noErr;
}

OSStatus SimulatedOutputUnit::setEnableIO(AudioUnitScope scope, const AudioUnitPropertyValue& value) {
  const auto* flag = std::get_if<std::uint32_t>(&value);
  if (flag == nullptr || *flag > 1) return kAudioUnitErr_InvalidPropertyValue;
  const bool isOutput = scope == AudioUnitScope::output;
  hardware_.trace().add(TraceCategory::unit, *flag == 1 ? "unit: enable " : "unit: disable ",
                        isOutput ? "output" : "input");
  const auto stage = isOutput ? UnitStage::enableOutput : UnitStage::disableInput;
  if (const OSStatus fault = hardware_.unitFaults().take(stage); fault != noErr) return fault;
  if (state_ != State::uninitialised) return kAudioUnitErr_Initialized;
  if (!isOutput && *flag == 1) return kAudioUnitErr_InvalidPropertyValue;  // it has no input to enable
  (isOutput ? outputIsEnabled_ : inputIsEnabled_) = *flag;
  return noErr;
}

OSStatus SimulatedOutputUnit::setStreamFormat(const AudioUnitPropertyValue& value) {
  const auto* format = std::get_if<AudioStreamBasicDescription>(&value);
  if (format == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  hardware_.trace().add(TraceCategory::unit, "unit: set format");
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::setFormat); fault != noErr) return fault;
  if (state_ != State::uninitialised) return kAudioUnitErr_Initialized;
  if (!canBeCarried(*format)) return kAudioUnitErr_FormatNotSupported;
  clientFormat_ = *format;
  return noErr;
}

OSStatus SimulatedOutputUnit::setRenderQuality(const AudioUnitPropertyValue& value) {
  const auto* quality = std::get_if<std::uint32_t>(&value);
  if (quality == nullptr || *quality > kRenderQuality_Max) return kAudioUnitErr_InvalidPropertyValue;
  hardware_.trace().add(TraceCategory::unit, "unit: set render quality ", std::to_string(*quality));
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::renderQuality); fault != noErr) return fault;
  renderQuality_ = *quality;
  return noErr;
}

OSStatus SimulatedOutputUnit::setRenderCallback(const AudioUnitPropertyValue& value) {
  const auto* callback = std::get_if<AURenderCallback>(&value);
  if (callback == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  hardware_.trace().add(TraceCategory::unit, "unit: set callback");
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::setCallback); fault != noErr) return fault;
  if (state_ == State::running) return kAudioUnitErr_Initialized;
  if (callback->inputProc == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  callback_ = *callback;
  return noErr;
}

std::expected<AudioUnitPropertyValue, OSStatus> SimulatedOutputUnit::property(AudioUnitProperty property,
                                                                              AudioUnitScope scope,
                                                                              std::uint32_t element) const {
  if (const OSStatus status = checkPlace(property, scope, element); status != noErr) return std::unexpected(status);
  switch (property) {
    case AudioUnitProperty::lastRenderError:
    case AudioUnitProperty::isRunning:
    case AudioUnitProperty::lastRenderSampleTime:
      return readStatus(property);
    default:
      return configuredProperty(property, scope);
  }
}

std::expected<AudioUnitPropertyValue, OSStatus> SimulatedOutputUnit::configuredProperty(AudioUnitProperty property,
                                                                                        AudioUnitScope scope) const {
  switch (property) {
    case AudioUnitProperty::currentDevice:
      return deviceID_;
    case AudioUnitProperty::enableIO:
      return scope == AudioUnitScope::output ? outputIsEnabled_ : inputIsEnabled_;
    case AudioUnitProperty::renderQuality:
      return renderQuality_;
    case AudioUnitProperty::streamFormat: {
      hardware_.trace().add(TraceCategory::read, "unit: read format");
      const OSStatus fault = hardware_.unitFaults().take(UnitStage::readFormat);
      if (fault != noErr) return std::unexpected(fault);
      if (!clientFormat_) return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
      return hardware_.reportedClientFormat().value_or(*clientFormat_);
    }
    case AudioUnitProperty::setRenderCallback:
      return callback_.value_or(AURenderCallback{});
    default:
      return std::unexpected(kAudioUnitErr_InvalidProperty);
  }
}

std::expected<AudioUnitPropertyValue, OSStatus> SimulatedOutputUnit::readStatus(AudioUnitProperty property) const {
  auto& faults = hardware_.unitFaults();
  auto& trace = hardware_.trace();
  if (property == AudioUnitProperty::lastRenderError) {
    trace.add(TraceCategory::read, "unit: read last render error");
    if (const OSStatus fault = faults.take(UnitStage::lastRenderError); fault != noErr) return std::unexpected(fault);
    return std::exchange(lastRenderError_, noErr);
  }
  if (property == AudioUnitProperty::isRunning) {
    trace.add(TraceCategory::read, "unit: read is running");
    if (const OSStatus fault = faults.take(UnitStage::isRunning); fault != noErr) return std::unexpected(fault);
    return isPlaying() ? 1U : 0U;
  }
  trace.add(TraceCategory::read, "unit: read sample time");
  if (const OSStatus fault = faults.take(UnitStage::sampleTime); fault != noErr) return std::unexpected(fault);
  if (!hasStarted_) return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
  if (device_ != nullptr && !device_->sampleTimeIsReadable()) {
    return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
  }
  return earlierFrames_ + static_cast<double>(isPlaying() ? consumedFrames() : 0);
}

OSStatus SimulatedOutputUnit::initialize() {
  hardware_.trace().add(TraceCategory::unit, "unit: initialize");
  if (state_ != State::uninitialised) return noErr;
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::initialize); fault != noErr) return fault;
  if (deviceID_ == kAudioObjectUnknown || !clientFormat_ || !callback_ || outputIsEnabled_ == 0) {
    return kAudioUnitErr_FailedInitialization;
  }
  SimulatedDevice* device = hardware_.presentDevice(deviceID_);
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
  period_.resize(std::size_t{periodFrames_} * clientFormat_->mBytesPerFrame);
  state_ = State::initialised;
  return noErr;
}

OSStatus SimulatedOutputUnit::uninitialize() {
  hardware_.trace().add(TraceCategory::unit, "unit: uninitialize");
  const bool wasInitialised = state_ != State::uninitialised;
  endRun();
  closeDevice();
  state_ = State::uninitialised;
  return wasInitialised ? hardware_.unitFaults().take(UnitStage::uninitialize) : noErr;
}

OSStatus SimulatedOutputUnit::start() {
  hardware_.trace().add(TraceCategory::unit, "unit: start");
  if (state_ == State::uninitialised) return kAudioUnitErr_Uninitialized;
  if (isPlaying()) return noErr;
  if (const OSStatus fault = hardware_.unitFaults().take(UnitStage::start); fault != noErr) return fault;
  if (deviceIsLost_) return kAudioHardwareBadDeviceError;
  state_ = State::running;
  hasDied_ = false;
  hasStarted_ = true;
  isFilled_ = false;
  renderedFrames_ = 0;
  clock_.restart(speed());
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

void SimulatedOutputUnit::closeDevice() {
  if (device_ != nullptr) device_->close(*this);
  device_ = nullptr;
}

double SimulatedOutputUnit::speed() const {
  return clientFormat_->mSampleRate * (1 + device_->config().clockErrorPPM * 1e-6);
}

std::int64_t SimulatedOutputUnit::consumedFrames() const {
  return std::min(clock_.frames(runLoop_.now()), renderedFrames_);
}

/// Ends pulling at this very moment and counts what was heard; what was not is dropped.
void SimulatedOutputUnit::endRun() {
  if (!isPlaying()) return;
  deliverHeard();
  framesPlayed_ = consumedFrames();
  earlierFrames_ += static_cast<double>(framesPlayed_);
  unheard_.clear();
  alarm_->clear();
  hasDied_ = true;
}

void SimulatedOutputUnit::act() {
  const auto now = runLoop_.now();
  if (!isFilled_) {
    pull();
    pull();
    isFilled_ = true;
    if (!device_->isStalled()) clock_.go(now);
  } else if (!clock_.isGoing()) {
    clock_.go(now);  // after an underrun
  } else {
    pull();
  }
  if (clock_.isGoing()) alarm_->set(clock_.momentOf(renderedFrames_ - periodFrames_));
}

void SimulatedOutputUnit::pull() {
  AudioBuffer buffer{clientFormat_->mChannelsPerFrame, static_cast<std::uint32_t>(period_.size()), period_.data()};
  AudioBufferList list{{&buffer, 1}};
  const OSStatus status = callback_->inputProc(callback_->inputProcRefCon, periodFrames_, &list);
  std::size_t filled = std::min<std::size_t>(buffer.mDataByteSize, period_.size());
  if (status != noErr) {
    lastRenderError_ = status;
    filled = 0;
  }
  if (filled < period_.size()) fillWithSilence(std::span(period_).subspan(filled), *clientFormat_);
  renderedFrames_ += periodFrames_;
  if (device_->config().captures) {
    deliverHeard();
    unheard_.insert(unheard_.end(), period_.begin(), period_.end());
  }
}

void SimulatedOutputUnit::deliverHeard() {
  if (unheard_.empty()) return;
  const std::size_t frame = clientFormat_->mBytesPerFrame;
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
  alarm_->set(clock_.momentOf(renderedFrames_ - periodFrames_));
}

void SimulatedOutputUnit::deviceChangedSpeed() {
  if (!isPlaying()) return;
  clock_.changeSpeed(runLoop_.now(), speed());
  if (clock_.isGoing()) alarm_->set(clock_.momentOf(renderedFrames_ - periodFrames_));
}

void SimulatedOutputUnit::deviceRanDry(RunLoop::Duration silence) {
  if (!isPlaying() || !isFilled_ || !clock_.isGoing()) return;
  clock_.halt(runLoop_.now());
  ++underrunCount_;
  alarm_->set(runLoop_.now() + silence);
}

}  // namespace tolvane
