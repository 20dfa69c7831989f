#include "platform/alsa/AlsaOutputUnit.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "platform/alsa/facts/AlsaStatus.h"

namespace tolvane {
namespace {

constexpr std::chrono::seconds betweenUnderrunLines{10};

}  // namespace

AlsaOutputUnit::~AlsaOutputUnit() { uninitialize(); }

std::expected<OSStatus, OSStatus> AlsaOutputUnit::takeRenderError() const {
  if (left_) return std::exchange(left_->error, noErr);
  return loop_ ? loop_->takeLastError() : noErr;
}

std::expected<bool, OSStatus> AlsaOutputUnit::isAlive() const {
  return state_ == State::running && loop_ && loop_->isAlive();
}

std::expected<double, OSStatus> AlsaOutputUnit::sampleTime() const {
  const auto time = left_ ? left_->sampleTime : loop_ ? loop_->sampleTime() : std::nullopt;
  if (!time) return std::unexpected(kAudioUnitErr_CannotDoInCurrentContext);
  return static_cast<double>(*time);
}

OSStatus AlsaOutputUnit::initialize() {
  if (state_ != State::created) return noErr;
  if (!settings_.areComplete()) return kAudioUnitErr_FailedInitialization;
  auto device = host_.deviceWithId(settings_.device());
  if (!device) return kAudioHardwareBadDeviceError;
  auto notice = std::make_shared<EventDescriptor>();
  if (!notice->isValid()) return kAudioHardwareUnspecifiedError;
  auto opened = device->openForUnit(settings_, [this] { surrender(); });
  if (!opened) return opened.error();
  auto pipeline = RenderPipeline::make({settings_.format(), opened->setup.layout, opened->setup.channels,
                                        static_cast<double>(opened->setup.rate), settings_.channelLayout(),
                                        opened->setup.positions});
  if (!pipeline) {
    device->closeForUnit();
    return kAudioUnitErr_FormatNotSupported;
  }
  deliveryForm_.reset();
  if (!pipeline->computesSamples())
    deliveryForm_ = {
        describe(opened->setup.layout, opened->setup.rate, opened->setup.channels),
        opened->setup.positions.positions.empty() ? unknownLayout(opened->setup.channels) : opened->setup.positions};
  host_.log().write(LogLevel::info, audioOutputCategory,
                    fmt::format("Opened {} at {} Hz, {}, {} channels, ring {} frames{}{}", device->info().name,
                                opened->setup.rate, layoutText(opened->setup.layout), opened->setup.channels,
                                opened->setup.bufferFrames, pipeline->changesRate() ? ", resampling" : "",
                                pipeline->changesChannels() ? ", mapping channels" : ""));
  notice_ = std::move(notice);
  device_ = std::move(device);
  loop_ = std::make_shared<AlsaRenderLoop>(std::move(opened->pcm), opened->setup, std::move(pipeline),
                                           host_.makeRealtime(), notice_, deliveries_);
  bufferFrames_ = static_cast<std::uint32_t>(opened->setup.bufferFrames);
  underrunsLogged_ = 0;
  noticeWatch_ = host_.runLoop().watchDescriptor(notice_->get(), [this] { handleNotice(); });
  state_ = State::initialised;
  return noErr;
}

OSStatus AlsaOutputUnit::uninitialize() {
  const OSStatus status = stop();
  if (state_ == State::created) return status;
  noticeWatch_.reset();
  if (loop_) {
    handleNotice();
    logUnderruns(true);
    // The loop must release the PCM before the device does, so that the last release closes it.
    const bool hadPcm = loop_->hasPcm();
    loop_.reset();
    if (hadPcm) device_->closeForUnit();
  }
  left_.reset();
  device_.reset();
  notice_.reset();
  state_ = State::created;
  return status;
}

OSStatus AlsaOutputUnit::start() {
  if (state_ == State::created) return kAudioUnitErr_Uninitialized;
  if (state_ == State::running) {
    if (isAlive() == true) return noErr;
    stop();
  }
  if (left_) return kAudioHardwareNotReadyError;
  isFailureReported_ = false;
  if (deliveries_) deliveries_->begin(deliveryForm_, bufferFrames_);
  const auto status =
      device_->calls().run([loop = loop_, callback = settings_.callback()] { return loop->start(callback); });
  if (!status) {
    leaveBehind();
    return status.error();
  }
  if (*status == noErr)
    state_ = State::running;
  else
    endDeliveries();
  return *status;
}

OSStatus AlsaOutputUnit::stop() {
  if (state_ != State::running) return noErr;
  state_ = State::initialised;
  if (left_) return kAudioHardwareNotReadyError;
  const auto status = device_->calls().run([loop = loop_] { return loop->stop(); });
  if (status) {
    endDeliveries();
    return *status;
  }
  leaveBehind();
  return status.error();
}

/// A call of the loop, or its render thread, hangs in the driver. The loop keeps its resources until the driver
/// returns; the render callback is not called any more.
void AlsaOutputUnit::leaveBehind() {
  loop_->abandon();
  left_ = {kAudioHardwareNotReadyError, loop_->framesConsumed(), loop_->sampleTime(), loop_->underruns()};
  endDeliveries();
  noticeWatch_.reset();
  logUnderruns(true);
  // If no call owns it, destroying it would hang here.
  device_->calls().leave([loop = std::move(loop_)] {});
  device_->closeForUnit();
}

/// REQUIRES: no thread renders any more.
void AlsaOutputUnit::endDeliveries() {
  if (deliveries_) deliveries_->end(framesPlayed());
}

std::int64_t AlsaOutputUnit::framesPlayed() const {
  if (left_) return left_->framesPlayed;
  return loop_ ? loop_->framesPlayed() : 0;
}

std::uint64_t AlsaOutputUnit::underrunCount() const {
  if (left_) return left_->underruns;
  return loop_ ? loop_->underruns() : 0;
}

/// A machine that cannot keep up must not flood the log as well: one line at intervals, and the rest at the end.
void AlsaOutputUnit::logUnderruns(bool isLast) {
  const std::uint64_t count = loop_->underruns();
  const auto now = host_.runLoop().now();
  if (count == underrunsLogged_ || (!isLast && now < nextUnderrunLine_)) return;
  host_.log().write(
      LogLevel::standard, audioOutputCategory,
      fmt::format("{} ran dry {} time(s); playback went on", device_->info().name, count - underrunsLogged_));
  underrunsLogged_ = count;
  nextUnderrunLine_ = now + betweenUnderrunLines;
}

/// The device passes to another program: like a failure, except that the device is closed now.
void AlsaOutputUnit::surrender() {
  if (device_->calls().run([loop = loop_] { (void)loop->stop(); })) {
    loop_->surrender();
    device_->closeForUnit();
  } else {
    leaveBehind();
  }
  host_.log().write(LogLevel::standard, audioOutputCategory,
                    fmt::format("{} was given to another program", device_->info().name));
  host_.deviceFailed(device_->id());
}

/// The render thread has signalled: underruns to be logged, or the failure of its device.
void AlsaOutputUnit::handleNotice() {
  notice_->clear();
  logUnderruns(false);
  if (loop_->failure() == 0 || std::exchange(isFailureReported_, true)) return;
  host_.log().write(LogLevel::error, audioOutputCategory,
                    fmt::format("{} failed: {}", device_->info().name, alsaErrorText(loop_->failure())));
  host_.deviceFailed(device_->id());
}

}  // namespace tolvane
