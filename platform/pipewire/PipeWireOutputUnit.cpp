#include "platform/pipewire/PipeWireOutputUnit.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;

constexpr std::string_view category = "AudioOutput";
constexpr auto watchInterval = 500ms;
constexpr int checksToReport = 2;  // a second in which the sink asked for nothing

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

bool isWhole(double rate) { return std::isfinite(rate) && rate >= 1 && rate <= 10'000'000 && rate == std::floor(rate); }

}  // namespace

PipeWireOutputUnit::~PipeWireOutputUnit() { uninitialize(); }

OSStatus PipeWireOutputUnit::setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                                         const AudioUnitPropertyValue& value) {
  if (const OSStatus status = placeStatus(property, scope, element); status != noErr) return status;
  const auto* number = std::get_if<std::uint32_t>(&value);
  const bool isCreated = state_ == State::created;
  switch (property) {
    case AudioUnitProperty::currentDevice:
      if (number == nullptr) return kAudioUnitErr_InvalidPropertyValue;
      if (!isCreated) return kAudioUnitErr_Initialized;
      if (!host_.hasDevice(*number)) return kAudioHardwareBadDeviceError;
      deviceId_ = *number;
      return noErr;
    case AudioUnitProperty::enableIO: {
      if (number == nullptr) return kAudioUnitErr_InvalidPropertyValue;
      if (!isCreated) return kAudioUnitErr_Initialized;
      const bool isInput = scope == AudioUnitScope::input;
      if (*number > 1 || (isInput && *number == 1)) return kAudioUnitErr_InvalidPropertyValue;  // there is no input
      (isInput ? inputEnabled_ : outputEnabled_) = *number;
      return noErr;
    }
    case AudioUnitProperty::streamFormat: {
      const auto* format = std::get_if<AudioStreamBasicDescription>(&value);
      return format != nullptr ? setFormat(*format) : kAudioUnitErr_InvalidPropertyValue;
    }
    case AudioUnitProperty::setRenderCallback: {
      const auto* callback = std::get_if<AURenderCallback>(&value);
      if (callback == nullptr) return kAudioUnitErr_InvalidPropertyValue;
      if (state_ == State::running) return kAudioUnitErr_Initialized;
      if (callback->inputProc == nullptr) return kAudioUnitErr_InvalidPropertyValue;
      callback_ = *callback;
      return direct_ ? direct_->setProperty(property, scope, element, value) : noErr;
    }
    case AudioUnitProperty::renderQuality:
      if (number == nullptr || *number > kRenderQuality_Max) return kAudioUnitErr_InvalidPropertyValue;
      renderQuality_ = *number;
      return noErr;
    default:
      return kAudioUnitErr_InvalidProperty;  // read only
  }
}

OSStatus PipeWireOutputUnit::setFormat(const AudioStreamBasicDescription& format) {
  if (state_ != State::created) return kAudioUnitErr_Initialized;
  if (!pcmLayout(format) || !std::isfinite(format.mSampleRate) || format.mSampleRate <= 0)
    return kAudioUnitErr_FormatNotSupported;
  format_ = format;
  return noErr;
}

std::expected<AudioUnitPropertyValue, OSStatus> PipeWireOutputUnit::property(AudioUnitProperty property,
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
    case AudioUnitProperty::lastRenderError: {
      auto& self = const_cast<PipeWireOutputUnit&>(*this);  // reading clears it
      const OSStatus watched = std::exchange(self.watchError_, noErr);
      OSStatus rendered = stream_ ? stream_->takeLastError() : noErr;
      if (direct_) rendered = readProperty<std::int32_t>(*direct_, property).value_or(noErr);
      return rendered != noErr ? rendered : watched;
    }
    case AudioUnitProperty::isRunning:
      return isAlive() ? std::uint32_t{1} : std::uint32_t{0};
    case AudioUnitProperty::lastRenderSampleTime:
      if (const auto time = sampleTime()) return *time;
      return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
    default:
      return std::unexpected(kAudioUnitErr_InvalidProperty);
  }
}

std::optional<double> PipeWireOutputUnit::sampleTime() const {
  std::optional<double> time;
  if (stream_) time = stream_->sampleTime();
  if (direct_) time = readProperty<double>(*direct_, AudioUnitProperty::lastRenderSampleTime);
  return time ? timeBefore_.value_or(0) + *time : timeBefore_;
}

bool PipeWireOutputUnit::isAlive() const {
  if (direct_) return readProperty<std::uint32_t>(*direct_, AudioUnitProperty::isRunning).value_or(0) != 0;
  return state_ == State::running && stream_ && stream_->isAlive();
}

OSStatus PipeWireOutputUnit::initialize() {
  if (state_ != State::created) return noErr;
  if (deviceId_ == kAudioObjectUnknown || !format_ || callback_.inputProc == nullptr || outputEnabled_ == 0)
    return kAudioUnitErr_FailedInitialization;
  if (const OSStatus status = openWay(false); status != noErr) {
    closeAll();
    return status;
  }
  timeBefore_.reset();
  underrunsBefore_ = 0;
  heardBefore_ = 0;
  state_ = State::initialised;
  return noErr;
}

/// `isMove`: the unit has been on another way, and takes what it had there with it.
OSStatus PipeWireOutputUnit::openWay(bool isMove) {
  const auto path = host_.openPath(deviceId_, *this);
  if (!path) return path.error();
  if (path->direct == kAudioObjectUnknown) return openStream(*path);
  if (isMove) host_.movedToCard(deviceId_, ledRate_);
  return openDirect(*path);
}

OSStatus PipeWireOutputUnit::openDirect(const Path& path) {
  AudioOutputComponent* component = host_.directComponent();
  if (component == nullptr) return kAudioHardwareBadDeviceError;
  auto made = component->newInstance();
  if (!made) return made.error();
  if (!*made) return kAudioHardwareUnspecifiedError;
  direct_ = *std::move(made);
  using Property = AudioUnitProperty;
  using Scope = AudioUnitScope;
  struct Step {
    Property property;
    Scope scope;
    std::uint32_t element;
    AudioUnitPropertyValue value;
  };
  const Step steps[] = {{Property::currentDevice, Scope::global, 0, path.direct},
                        {Property::enableIO, Scope::output, 0, outputEnabled_},
                        {Property::enableIO, Scope::input, 1, inputEnabled_},
                        {Property::streamFormat, Scope::input, 0, *format_},
                        {Property::renderQuality, Scope::global, 0, renderQuality_},
                        {Property::setRenderCallback, Scope::input, 0, callback_}};
  for (const Step& step : steps) {
    if (const OSStatus status = direct_->setProperty(step.property, step.scope, step.element, step.value);
        status != noErr)
      return status;
  }
  return direct_->initialize();
}

OSStatus PipeWireOutputUnit::openStream(const Path& path) {
  if (!isWhole(format_->mSampleRate)) return kAudioUnitErr_FormatNotSupported;
  const auto rate = static_cast<std::uint32_t>(format_->mSampleRate);
  const std::uint32_t channels = format_->mChannelsPerFrame;
  // The server mixes in 32-bit float: given that, it converts nothing on the way to the mix.
  auto pipeline = RenderPipeline::make({*format_, floatLayout(4), channels, format_->mSampleRate});
  if (!pipeline || channels > 64) return kAudioUnitErr_FormatNotSupported;
  const bool leadsRate = path.rate && *path.rate == format_->mSampleRate;
  stream_ = std::make_unique<PipeWireStream>(host_.connection(), host_.runLoop(),
                                             PipeWireStream::Setup{path.sink, path.serial, rate, leadsRate, channels},
                                             std::move(pipeline), [this] { host_.unitChanged(deviceId_); });
  const OSStatus status = stream_->open();
  if (status == noErr)
    host_.log().write(LogLevel::info, category,
                      fmt::format("Opened {} through PipeWire for {} Hz, {} channels", path.name, rate, channels));
  return status;
}

void PipeWireOutputUnit::closeAll() {
  progressWatch_.reset();
  direct_.reset();
  stream_.reset();
  watchError_ = noErr;
  host_.closePath(deviceId_, *this);
  state_ = State::created;
}

OSStatus PipeWireOutputUnit::uninitialize() {
  const OSStatus status = stop();
  if (state_ == State::created) return status;
  const OSStatus closed = direct_ ? direct_->uninitialize() : noErr;
  closeAll();
  return status != noErr ? status : closed;
}

OSStatus PipeWireOutputUnit::start() {
  if (state_ == State::created) return kAudioUnitErr_Uninitialized;
  if (state_ == State::running) {
    if (isAlive()) return noErr;
    stop();
  }
  watchError_ = noErr;
  // A sink that has gone while nothing played may be back, or the device may be reached without one now.
  if (!direct_ && stream() == nullptr)
    if (const OSStatus status = reopen(); status != noErr) return status;
  heardBefore_ = 0;
  OSStatus status = startWay();
  // The news that the sink has gone may come no sooner than when it is asked for something.
  if (status == noErr || direct_ || stream() != nullptr) return status;
  status = reopen();
  heardBefore_ = 0;
  return status == noErr ? startWay() : status;
}

OSStatus PipeWireOutputUnit::startWay() {
  if (direct_) {
    const OSStatus status = direct_->start();
    state_ = status == noErr ? State::running : State::initialised;
    return status;
  }
  const OSStatus status = stream_->start(callback_);
  if (status != noErr) return status;
  state_ = State::running;
  cyclesSeen_ = stream_->cycles();
  checksWithoutProgress_ = 0;
  progressWatch_ = host_.runLoop().scheduleTimer(watchInterval, true, [this] { watchProgress(); });
  host_.unitChanged(deviceId_);
  return noErr;
}

/// REQUIRES: no direct way, and nothing that plays.
OSStatus PipeWireOutputUnit::reopen() {
  dropStream();
  host_.closePath(deviceId_, *this);
  const OSStatus status = openWay(true);
  if (status == noErr) return noErr;
  direct_.reset();
  stream_.reset();
  host_.closePath(deviceId_, *this);
  return status;
}

void PipeWireOutputUnit::dropStream() {
  if (!stream_) return;
  ledRate_.reset();
  if (stream_->setup().leadsRate) ledRate_ = stream_->setup().rate;
  heardBefore_ += stream_->framesPlayed();
  underrunsBefore_ += stream_->underruns();
  if (const auto time = stream_->sampleTime()) timeBefore_ = timeBefore_.value_or(0) + static_cast<double>(*time);
  stream_.reset();
}

RunLoop::Duration PipeWireOutputUnit::leaveSink() {
  progressWatch_.reset();
  const RunLoop::Duration delay = state_ == State::running ? stream_->delay() : RunLoop::Duration::zero();
  stream_->stop();
  dropStream();
  return delay;
}

void PipeWireOutputUnit::goOn() {
  const bool wasRunning = std::exchange(state_, State::initialised) == State::running;
  OSStatus status = reopen();
  if (status == noErr && wasRunning) status = startWay();
  if (status == noErr || !wasRunning) return;
  host_.log().write(LogLevel::error, category,
                    fmt::format("The device was left, and is not reached again: {}", status));
  state_ = State::running;
  watchError_ = status;
}

OSStatus PipeWireOutputUnit::stop() {
  if (state_ != State::running) return noErr;
  state_ = State::initialised;
  progressWatch_.reset();
  if (direct_) return direct_->stop();
  if (!stream_) return kAudioHardwareNotRunningError;
  stream_->stop();
  host_.unitChanged(deviceId_);
  return stream_->lostStatus();
}

std::int64_t PipeWireOutputUnit::framesPlayed() const {
  if (direct_) return heardBefore_ + direct_->framesPlayed();
  return heardBefore_ + (stream_ ? stream_->framesPlayed() : 0);
}

std::uint64_t PipeWireOutputUnit::underrunCount() const {
  if (direct_) return underrunsBefore_ + direct_->underrunCount();
  return underrunsBefore_ + (stream_ ? stream_->underruns() : 0);
}

/// A sink whose hardware is busy calls a stream playing, and asks it for nothing. And what only the data thread gets to
/// know, the graph's rate and its clock, is passed on from here.
void PipeWireOutputUnit::watchProgress() {
  if (stream() == nullptr) return;
  host_.unitChanged(deviceId_);
  const std::uint64_t cycles = stream_->cycles();
  if (std::exchange(cyclesSeen_, cycles) != cycles) {
    checksWithoutProgress_ = 0;
    return;
  }
  if (++checksWithoutProgress_ != checksToReport) return;
  host_.log().write(LogLevel::error, category, "PipeWire has asked for no frames for a second");
  watchError_ = kAudioHardwareNotRunningError;
}

void PipeWireOutputUnit::markLost(OSStatus status) {
  if (stream_) stream_->markLost(status);
}

}  // namespace tolvane
