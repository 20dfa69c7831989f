#include "platform/alsa/AlsaOutputUnit.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <utility>

#include "platform/alsa/AlsaStatus.h"

namespace tolvane {
namespace {

constexpr std::string_view category = "AudioOutput";
constexpr std::chrono::seconds betweenUnderrunLines{10};

/// Where each property lives.
OSStatus placeStatus(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element) {
  AudioUnitScope rightScope = AudioUnitScope::global;
  std::uint32_t rightElement = 0;
  switch (property) {
    case AudioUnitProperty::currentDevice:
    case AudioUnitProperty::renderQuality:
    case AudioUnitProperty::lastRenderError:
    case AudioUnitProperty::isRunning:
    case AudioUnitProperty::lastRenderSampleTime:
      break;
    case AudioUnitProperty::streamFormat:
    case AudioUnitProperty::setRenderCallback:
      rightScope = AudioUnitScope::input;
      break;
    case AudioUnitProperty::enableIO:
      if (scope == AudioUnitScope::global) return kAudioUnitErr_InvalidScope;
      rightScope = scope;
      rightElement = scope == AudioUnitScope::input ? 1 : 0;
      break;
    default:
      return kAudioUnitErr_InvalidProperty;
  }
  if (scope != rightScope) return kAudioUnitErr_InvalidScope;
  return element == rightElement ? noErr : kAudioUnitErr_InvalidElement;
}

}  // namespace

AlsaOutputUnit::~AlsaOutputUnit() { uninitialize(); }

OSStatus AlsaOutputUnit::setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                                     const AudioUnitPropertyValue& value) {
  if (const OSStatus status = placeStatus(property, scope, element); status != noErr) return status;
  const auto* number = std::get_if<std::uint32_t>(&value);
  const auto* format = std::get_if<AudioStreamBasicDescription>(&value);
  const auto* callback = std::get_if<AURenderCallback>(&value);
  switch (property) {
    case AudioUnitProperty::currentDevice:
      return number != nullptr ? setDevice(*number) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::enableIO:
      return number != nullptr ? setEnableIO(scope, *number) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::streamFormat:
      return format != nullptr ? setFormat(*format) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::setRenderCallback:
      return callback != nullptr ? setCallback(*callback) : kAudioUnitErr_InvalidPropertyValue;
    case AudioUnitProperty::renderQuality:
      if (number == nullptr || *number > kRenderQuality_Max) return kAudioUnitErr_InvalidPropertyValue;
      renderQuality_ = *number;
      return noErr;
    default:
      return kAudioUnitErr_InvalidProperty;  // read only
  }
}

OSStatus AlsaOutputUnit::setDevice(std::uint32_t id) {
  if (state_ != State::created) return kAudioUnitErr_Initialized;
  if (!host_.deviceWithId(id)) return kAudioHardwareBadDeviceError;
  deviceId_ = id;
  return noErr;
}

OSStatus AlsaOutputUnit::setEnableIO(AudioUnitScope scope, std::uint32_t enabled) {
  if (state_ != State::created) return kAudioUnitErr_Initialized;
  const bool isInput = scope == AudioUnitScope::input;
  if (enabled > 1 || (isInput && enabled == 1)) return kAudioUnitErr_InvalidPropertyValue;  // there is no input
  (isInput ? inputEnabled_ : outputEnabled_) = enabled;
  return noErr;
}

OSStatus AlsaOutputUnit::setFormat(const AudioStreamBasicDescription& format) {
  if (state_ != State::created) return kAudioUnitErr_Initialized;
  if (!pcmLayout(format) || !std::isfinite(format.mSampleRate) || format.mSampleRate <= 0) {
    return kAudioUnitErr_FormatNotSupported;
  }
  format_ = format;
  return noErr;
}

OSStatus AlsaOutputUnit::setCallback(const AURenderCallback& callback) {
  if (state_ == State::running) return kAudioUnitErr_Initialized;
  if (callback.inputProc == nullptr) return kAudioUnitErr_InvalidPropertyValue;
  callback_ = callback;
  return noErr;
}

std::expected<AudioUnitPropertyValue, OSStatus> AlsaOutputUnit::property(AudioUnitProperty property,
                                                                         AudioUnitScope scope,
                                                                         std::uint32_t element) const {
  if (const OSStatus status = placeStatus(property, scope, element); status != noErr) return std::unexpected(status);
  switch (property) {
    case AudioUnitProperty::currentDevice:
      return deviceId_;
    case AudioUnitProperty::enableIO:
      return scope == AudioUnitScope::input ? inputEnabled_ : outputEnabled_;
    case AudioUnitProperty::renderQuality:
      return renderQuality_;
    case AudioUnitProperty::setRenderCallback:
      return callback_;
    case AudioUnitProperty::streamFormat:
      if (!format_) return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
      return *format_;
    case AudioUnitProperty::lastRenderError:
      return loop_ ? loop_->takeLastError() : noErr;
    case AudioUnitProperty::isRunning:
      return state_ == State::running && loop_->isAlive() ? std::uint32_t{1} : std::uint32_t{0};
    case AudioUnitProperty::lastRenderSampleTime:
      if (const auto time = loop_ ? loop_->sampleTime() : std::nullopt) return static_cast<double>(*time);
      return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
    default:
      return std::unexpected(kAudioUnitErr_InvalidProperty);
  }
}

OSStatus AlsaOutputUnit::initialize() {
  if (state_ != State::created) return noErr;
  if (deviceId_ == kAudioObjectUnknown || !format_ || callback_.inputProc == nullptr || outputEnabled_ == 0) {
    return kAudioUnitErr_FailedInitialization;
  }
  auto device = host_.deviceWithId(deviceId_);
  if (!device) return kAudioHardwareBadDeviceError;
  auto notice = std::make_unique<EventDescriptor>();
  if (!notice->isValid()) return kAudioHardwareUnspecifiedError;
  auto opened = device->openForUnit(*format_, [this] { surrender(); });
  if (!opened) return opened.error();
  auto pipeline = RenderPipeline::make(
      {*format_, opened->setup.layout, opened->setup.channels, static_cast<double>(opened->setup.rate)});
  if (!pipeline) {
    device->closeForUnit();
    return kAudioUnitErr_FormatNotSupported;
  }
  host_.log().write(LogLevel::info, category,
                    fmt::format("Opened {} at {} Hz, {}, {} channels, ring {} frames{}{}", device->info().name,
                                opened->setup.rate, layoutText(opened->setup.layout), opened->setup.channels,
                                opened->setup.bufferFrames, pipeline->changesRate() ? ", resampling" : "",
                                pipeline->changesChannels() ? ", mapping channels" : ""));
  notice_ = std::move(notice);
  device_ = std::move(device);
  loop_ = std::make_unique<AlsaRenderLoop>(std::move(opened->pcm), opened->setup, std::move(pipeline),
                                           host_.makeRealtime(), *notice_);
  underrunsLogged_ = 0;
  noticeWatch_ = host_.runLoop().watchDescriptor(notice_->get(), [this] { handleNotice(); });
  state_ = State::initialised;
  return noErr;
}

OSStatus AlsaOutputUnit::uninitialize() {
  const OSStatus status = stop();
  if (state_ == State::created) return status;
  noticeWatch_.reset();
  handleNotice();
  logUnderruns(true);
  // The loop's hold on the PCM must be gone before the device lets go of it, so that the last one closes it.
  const bool hadPcm = loop_->hasPcm();
  loop_.reset();
  if (hadPcm) device_->closeForUnit();
  device_.reset();
  notice_.reset();
  state_ = State::created;
  return status;
}

OSStatus AlsaOutputUnit::start() {
  if (state_ == State::created) return kAudioUnitErr_Uninitialized;
  if (state_ == State::running) {
    if (loop_->isAlive()) return noErr;
    stop();
  }
  failureTold_ = false;
  const OSStatus status = loop_->start(callback_);
  if (status == noErr) state_ = State::running;
  return status;
}

OSStatus AlsaOutputUnit::stop() {
  if (state_ != State::running) return noErr;
  state_ = State::initialised;
  return loop_->stop();
}

std::int64_t AlsaOutputUnit::framesPlayed() const { return loop_ ? loop_->framesPlayed() : 0; }

std::uint64_t AlsaOutputUnit::underrunCount() const { return loop_ ? loop_->underruns() : 0; }

/// A machine that cannot keep up must not fill the log as well: a line now and then, and what is left at the end.
void AlsaOutputUnit::logUnderruns(bool isLast) {
  const std::uint64_t count = loop_->underruns();
  const auto now = host_.runLoop().now();
  if (count == underrunsLogged_ || (!isLast && now < nextUnderrunLine_)) return;
  host_.log().write(
      LogLevel::standard, category,
      fmt::format("{} ran dry {} time(s); playback went on", device_->info().name, count - underrunsLogged_));
  underrunsLogged_ = count;
  nextUnderrunLine_ = now + betweenUnderrunLines;
}

/// The device goes to another program: as if it had failed, but that it is closed now.
void AlsaOutputUnit::surrender() {
  loop_->surrender();
  device_->closeForUnit();
  host_.log().write(LogLevel::standard, category, fmt::format("{} was given to another program", device_->info().name));
  host_.deviceFailed(device_->id());
}

/// The render thread has something to tell: underruns to be logged, or the end of its device.
void AlsaOutputUnit::handleNotice() {
  notice_->clear();
  logUnderruns(false);
  if (loop_->failure() == 0 || std::exchange(failureTold_, true)) return;
  host_.log().write(LogLevel::error, category,
                    fmt::format("{} failed: {}", device_->info().name, alsaErrorText(loop_->failure())));
  host_.deviceFailed(device_->id());
}

}  // namespace tolvane
