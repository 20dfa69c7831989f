#include "platform/pipewire/units/PipeWireOutputUnit.h"

#include <fmt/format.h>

#include <cmath>
#include <tuple>
#include <utility>

#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;

constexpr auto watchInterval = 500ms;
constexpr int checksToReport = 2;  // a second in which the sink asked for nothing

bool isWhole(double rate) { return std::isfinite(rate) && rate >= 1 && rate <= 10'000'000 && rate == std::floor(rate); }

}  // namespace

PipeWireOutputUnit::~PipeWireOutputUnit() { uninitialize(); }

OSStatus PipeWireOutputUnit::setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                                         const AudioUnitPropertyValue& value) {
  const OSStatus status = AdapterOutputUnit::setProperty(property, scope, element, value);
  if (status != noErr || property != AudioUnitProperty::setRenderCallback || !cardUnit_) return status;
  return cardUnit_->setProperty(property, scope, element, value);
}

std::expected<OSStatus, OSStatus> PipeWireOutputUnit::takeRenderError() const {
  const OSStatus watched = std::exchange(watchError_, noErr);
  OSStatus rendered = stream_ ? stream_->takeLastError() : noErr;
  if (cardUnit_) rendered = readProperty<std::int32_t>(*cardUnit_, AudioUnitProperty::lastRenderError).value_or(noErr);
  return rendered != noErr ? rendered : watched;
}

std::expected<double, OSStatus> PipeWireOutputUnit::sampleTime() const {
  std::optional<double> time = timeBefore_;
  std::optional<double> here;
  if (stream_) here = stream_->sampleTime();
  if (cardUnit_) here = readProperty<double>(*cardUnit_, AudioUnitProperty::lastRenderSampleTime);
  if (here) time = timeBefore_.value_or(0) + *here;
  if (!time) return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
  return *time;
}

std::expected<bool, OSStatus> PipeWireOutputUnit::isAlive() const {
  if (cardUnit_) return readProperty<std::uint32_t>(*cardUnit_, AudioUnitProperty::isRunning).value_or(0) != 0;
  return state_ == State::running && stream_ && stream_->isAlive();
}

OSStatus PipeWireOutputUnit::initialize() {
  if (state_ != State::created) return noErr;
  if (!settings_.areComplete()) return kAudioUnitErr_FailedInitialization;
  const auto wait = host_.server().beginWait();
  if (const OSStatus status = openPath(false); status != noErr) {
    closeAll();
    return status;
  }
  timeBefore_.reset();
  underrunsBefore_ = 0;
  heardBefore_ = 0;
  state_ = State::initialised;
  return noErr;
}

/// `isMove`: the unit was on another path, and takes its settings along.
OSStatus PipeWireOutputUnit::openPath(bool isMove) {
  const auto path = host_.openPath(settings_.device(), *this);
  if (!path) return path.error();
  if (path->cardDevice == kAudioObjectUnknown) return openStream(*path);
  if (isMove) host_.movedToCard(settings_.device(), ledRate_);
  return openCard(*path);
}

OSStatus PipeWireOutputUnit::openCard(const Path& path) {
  AudioOutputComponent* component = host_.cardComponent();
  if (component == nullptr) return kAudioHardwareBadDeviceError;
  auto made = component->newInstance();
  if (!made) return made.error();
  if (!*made) return kAudioHardwareUnspecifiedError;
  cardUnit_ = *std::move(made);
  cardUnit_->setDeliveryRecord(deliveries_);
  using Property = AudioUnitProperty;
  using Scope = AudioUnitScope;
  // Its settings, except for the device, which differs there.
  if (const OSStatus status = cardUnit_->setProperty(Property::currentDevice, Scope::global, 0, path.cardDevice);
      status != noErr)
    return status;
  const std::tuple<Property, Scope, std::uint32_t> taken[] = {
      {Property::enableIO, Scope::output, 0},        {Property::enableIO, Scope::input, 1},
      {Property::streamFormat, Scope::input, 0},     {Property::sourceBits, Scope::input, 0},
      {Property::channelLayout, Scope::input, 0},    {Property::renderQuality, Scope::global, 0},
      {Property::setRenderCallback, Scope::input, 0}};
  for (const auto& [property, scope, element] : taken) {
    const auto value = settings_.get(property, scope);
    if (!value) return value.error();
    if (const OSStatus status = cardUnit_->setProperty(property, scope, element, *value); status != noErr)
      return status;
  }
  return cardUnit_->initialize();
}

OSStatus PipeWireOutputUnit::openStream(const Path& path) {
  if (!isWhole(format().mSampleRate)) return kAudioUnitErr_FormatNotSupported;
  const auto rate = static_cast<std::uint32_t>(format().mSampleRate);
  const std::uint32_t channels = format().mChannelsPerFrame;
  // The server mixes in 32-bit float: given that, it converts nothing on the way to the mix.
  auto pipeline = RenderPipeline::make(
      {format(), floatLayout(4), channels, format().mSampleRate, settings_.channelLayout(), settings_.channelLayout()});
  if (!pipeline || channels > 64) return kAudioUnitErr_FormatNotSupported;
  const bool leadsRate = path.rate && *path.rate == format().mSampleRate;
  stream_ = host_.server().makeStream(
      {path.sink, path.serial, rate, leadsRate, channels, settings_.channelLayout(), deliveries_}, std::move(pipeline),
      [this] { host_.unitChanged(settings_.device()); });
  const OSStatus status = stream_->open();
  if (status == noErr)
    host_.log().write(LogLevel::info, audioOutputCategory,
                      fmt::format("Opened {} through PipeWire for {} Hz, {} channels", path.name, rate, channels));
  return status;
}

void PipeWireOutputUnit::closeAll() {
  progressWatch_.reset();
  cardUnit_.reset();
  stream_.reset();
  watchError_ = noErr;
  host_.closePath(settings_.device(), *this);
  state_ = State::created;
}

OSStatus PipeWireOutputUnit::uninitialize() {
  const OSStatus status = stop();
  if (state_ == State::created) return status;
  const OSStatus closed = cardUnit_ ? cardUnit_->uninitialize() : noErr;
  closeAll();
  return status != noErr ? status : closed;
}

OSStatus PipeWireOutputUnit::start() {
  if (state_ == State::created) return kAudioUnitErr_Uninitialized;
  if (state_ == State::running) {
    if (isAlive() == true) return noErr;
    stop();
  }
  watchError_ = noErr;
  const auto wait = host_.server().beginWait();
  // A sink that went while nothing played may be back, or the device may now be reached without one.
  if (!cardUnit_ && stream() == nullptr)
    if (const OSStatus status = reopen(); status != noErr) return status;
  heardBefore_ = 0;
  OSStatus status = startPath();
  // That the sink is gone may not be noticed before a request to it.
  if (status == noErr || cardUnit_ || stream() != nullptr) return status;
  status = reopen();
  heardBefore_ = 0;
  return status == noErr ? startPath() : status;
}

OSStatus PipeWireOutputUnit::startPath() {
  if (cardUnit_) {
    const OSStatus status = cardUnit_->start();
    state_ = status == noErr ? State::running : State::initialised;
    return status;
  }
  const OSStatus status = stream_->start(settings_.callback());
  if (status != noErr) return status;
  state_ = State::running;
  cyclesSeen_ = stream_->cycles();
  checksWithoutProgress_ = 0;
  progressWatch_ = host_.runLoop().scheduleTimer(watchInterval, true, [this] { watchProgress(); });
  host_.unitChanged(settings_.device());
  return noErr;
}

/// REQUIRES: not on the card path, and not playing.
OSStatus PipeWireOutputUnit::reopen() {
  dropStream();
  host_.closePath(settings_.device(), *this);
  const OSStatus status = openPath(true);
  if (status == noErr) return noErr;
  cardUnit_.reset();
  stream_.reset();
  host_.closePath(settings_.device(), *this);
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
  stream_->stop();
  const RunLoop::Duration delay = state_ == State::running ? stream_->delay() : RunLoop::Duration::zero();
  dropStream();
  return delay;
}

void PipeWireOutputUnit::goOn() {
  const bool wasRunning = std::exchange(state_, State::initialised) == State::running;
  OSStatus status = reopen();
  if (status == noErr && wasRunning) status = startPath();
  if (status == noErr || !wasRunning) return;
  host_.log().write(LogLevel::error, audioOutputCategory,
                    fmt::format("The device was left, and is not reached again: {}", status));
  state_ = State::running;
  watchError_ = status;
}

OSStatus PipeWireOutputUnit::stop() {
  if (state_ != State::running) return noErr;
  state_ = State::initialised;
  progressWatch_.reset();
  if (cardUnit_) return cardUnit_->stop();
  if (!stream_) return kAudioHardwareNotRunningError;
  stream_->stop();
  host_.unitChanged(settings_.device());
  return stream_->lostStatus();
}

std::int64_t PipeWireOutputUnit::framesPlayed() const {
  if (cardUnit_) return heardBefore_ + cardUnit_->framesPlayed();
  return heardBefore_ + (stream_ ? stream_->framesPlayed() : 0);
}

std::uint64_t PipeWireOutputUnit::underrunCount() const {
  if (cardUnit_) return underrunsBefore_ + cardUnit_->underrunCount();
  return underrunsBefore_ + (stream_ ? stream_->underruns() : 0);
}

/// A sink whose hardware is busy reports a stream as playing, but requests no frames from it. Also passes on what only
/// the data thread sees: the graph's rate and its clock.
void PipeWireOutputUnit::watchProgress() {
  if (stream() == nullptr) return;
  host_.unitChanged(settings_.device());
  const std::uint64_t cycles = stream_->cycles();
  if (std::exchange(cyclesSeen_, cycles) != cycles) {
    checksWithoutProgress_ = 0;
    return;
  }
  if (++checksWithoutProgress_ != checksToReport) return;
  host_.log().write(LogLevel::error, audioOutputCategory, "PipeWire has asked for no frames for a second");
  watchError_ = kAudioHardwareNotRunningError;
}

void PipeWireOutputUnit::markLost(OSStatus status) {
  if (stream_) stream_->markLost(status);
}

}  // namespace tolvane
