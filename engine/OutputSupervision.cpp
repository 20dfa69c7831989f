#include "engine/OutputSupervision.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "engine/PlayerCore.h"
#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

constexpr std::chrono::milliseconds healthCheckInterval{500};
constexpr std::chrono::seconds healthyRecoveryResetInterval{30};
constexpr std::int64_t healthyChecksToReset = healthyRecoveryResetInterval / healthCheckInterval;
constexpr std::int64_t stoppedChecksToRecover = 2;
constexpr std::int64_t stalledChecksToRecover = 3;
constexpr std::int64_t maximumRecoveryAttempts = 3;
constexpr double propertyChangeDelay = 0.35;  // seconds: a burst of related notifications makes one recovery
constexpr double backOffPerAttempt = 0.5;     // seconds

constexpr std::array observedDeviceProperties{
    globalAddress(kAudioDevicePropertyNominalSampleRate), globalAddress(kAudioDevicePropertyActualSampleRate),
    globalAddress(kAudioDevicePropertyHogMode),           globalAddress(kAudioDevicePropertyDeviceIsAlive),
    outputAddress(kAudioDevicePropertyStreams),           outputAddress(kAudioDevicePropertyStreamConfiguration),
    globalAddress(kAudioDevicePropertyBufferFrameSize),   globalAddress(kAudioDevicePropertyProcessingIsActive)};
constexpr std::array observedStreamProperties{globalAddress(kAudioStreamPropertyPhysicalFormat),
                                              globalAddress(kAudioStreamPropertyVirtualFormat),
                                              globalAddress(kAudioStreamPropertyIsActive)};
constexpr std::array judgedProperties{kAudioDevicePropertyNominalSampleRate, kAudioDevicePropertyActualSampleRate,
                                      kAudioStreamPropertyPhysicalFormat, kAudioStreamPropertyVirtualFormat};

}  // namespace

void OutputSupervision::installOutputPropertyObservers(AudioObjectID deviceID) {
  removeOutputPropertyObservers();
  configuredFor_ = DeviceCondition::read(core_.hardware, core_.device, deviceID);
  const std::uint64_t generation = outputObservationGeneration_;
  for (const auto& address : observedDeviceProperties) observeAudioProperty(deviceID, address, generation);
  for (const AudioObjectID stream : core_.device.readOutputStreamIDs(deviceID))
    for (const auto& address : observedStreamProperties) observeAudioProperty(stream, address, generation);
}

void OutputSupervision::observeAudioProperty(AudioObjectID objectID, const AudioObjectPropertyAddress& address,
                                             std::uint64_t generation) {
  if (!core_.hardware.hasProperty(objectID, address)) return;
  auto listener = [weak = std::weak_ptr(self_), generation](const AudioObjectPropertyAddress& changed) {
    if (const auto self = weak.lock()) (*self)->handleOutputPropertyChange(changed.mSelector, generation);
  };
  const auto registered = core_.hardware.addPropertyListener(objectID, address, std::move(listener));
  if (!registered)
    core_.audioLogger.standard("Could not observe audio property {}: {}", address.mSelector, registered.error());
  else
    propertyObservations_.push_back(*registered);
}

void OutputSupervision::removeOutputPropertyObservers() {
  ++outputObservationGeneration_;
  for (const auto observation : propertyObservations_) core_.hardware.removePropertyListener(observation);
  propertyObservations_.clear();
}

void OutputSupervision::handleOutputPropertyChange(FourCharCode selector, std::uint64_t generation) {
  if (generation != outputObservationGeneration_ || isRecoveringOutput_ || !core_.preparedAudio ||
      !core_.isPlayingOrPaused())
    return;
  if (selector == kAudioDevicePropertyHogMode) return core_.exclusiveAccess.verifyExclusiveAccess(true);
  // A volume that somebody moves on the way to the device: the output is as good as before, and the verdict is another.
  if (selector == kAudioDevicePropertyProcessingIsActive) return judgePathAgain();
  // The recovery waits for the rest of a burst; a verdict that is no longer true does not.
  if (std::ranges::find(judgedProperties, selector) != judgedProperties.end()) judgePathAgain();
  core_.audioLogger.standard("Output property changed: {}", selector);
  const bool canBeHarmless = core_.audioUnit && selector != kAudioDevicePropertyDeviceIsAlive;
  recoversOnlyAfterAChange_ = canBeHarmless && (recoversOnlyAfterAChange_ || !recoveryTask_);
  scheduleOutputRecovery("The output device changed its audio configuration.", propertyChangeDelay);
}

bool OutputSupervision::isAsConfigured() {
  if (!core_.audioUnit || !core_.renderContext || core_.configuration.unitHasStopped()) return false;
  const auto now = DeviceCondition::read(core_.hardware, core_.device, core_.deviceID);
  if (now.bufferFrames != 0 && now.bufferFrames == bufferFramesThatStay_) configuredFor_.bufferFrames = now.bufferFrames;
  const bool isIdle = core_.state == PlaybackState::paused;
  if (!configuredFor_.isKeptBy(now, core_.renderContext->format().mSampleRate, isIdle)) {
    bufferFramesThatStay_ = now.bufferFrames;
    return false;
  }
  configuredFor_.learn(now);
  if (configuredFor_.bufferFrames != 0) core_.outputBufferFrameSize = configuredFor_.bufferFrames;
  return true;
}

void OutputSupervision::judgePathAgain() {
  core_.exclusiveAccess.refreshAudioPathStatus(core_.device.readHogMode(core_.deviceID));
}

void OutputSupervision::startOutputHealthMonitor() {
  // The clock of an earlier unit, or of the time before a pause, says nothing about this one.
  stalledHealthChecks_ = 0;
  stoppedHealthChecks_ = 0;
  lastRenderSampleTime_.reset();
  lastRenderCycleCount_.reset();
  keepMusicInMemory();
  healthTimer_ = core_.runLoop.scheduleTimer(healthCheckInterval, true, [this] { checkOutputHealth(); });
}

void OutputSupervision::stopOutputHealthMonitor() { healthTimer_.reset(); }

void OutputSupervision::checkOutputHealth() {
  keepMusicInMemory();
  if (core_.state != PlaybackState::playing || isRecoveringOutput_ || recoveryTask_ || !core_.audioUnit) return;
  if (reportsRenderError() || reportsStoppedUnit()) return;
  const auto progressed = renderClockProgressed();
  if (!progressed) return;
  if (*progressed) {
    stalledHealthChecks_ = 0;
    if (++stableHealthChecks_ >= healthyChecksToReset) recoveryAttempts_ = 0;
    return;
  }
  stableHealthChecks_ = 0;
  if (++stalledHealthChecks_ >= stalledChecksToRecover)
    scheduleOutputRecovery("AUHAL stopped requesting audio frames.", 0);
}

void OutputSupervision::keepMusicInMemory() const {
  constexpr double secondsAhead = 5;
  if (!core_.renderContext || core_.renderContext->isInMemory(secondsAhead)) return;
  if (isReadingAhead_->exchange(true)) return;  // a slow disk has one reader, not a new one each time
  core_.background([current = std::weak_ptr(core_.renderContext), isReading = isReadingAhead_] {
    if (const auto context = current.lock()) context->bringIntoMemory(secondsAhead);
    *isReading = false;
  });
}

bool OutputSupervision::reportsRenderError() {
  const auto code = readProperty<std::int32_t>(*core_.audioUnit, AudioUnitProperty::lastRenderError);
  if (code.value_or(noErr) == noErr) return false;
  core_.audioLogger.error("AUHAL reported render error {}", *code);
  scheduleOutputRecovery(fmt::format("AUHAL reported a render error (Core Audio {}).", *code), 0);
  return true;
}

bool OutputSupervision::reportsStoppedUnit() {
  constexpr std::uint32_t running = 1;
  const bool stopped =
      readProperty<std::uint32_t>(*core_.audioUnit, AudioUnitProperty::isRunning).value_or(running) == 0;
  stoppedHealthChecks_ = stopped ? stoppedHealthChecks_ + 1 : 0;
  if (stoppedHealthChecks_ < stoppedChecksToRecover) return false;
  scheduleOutputRecovery("AUHAL stopped while playback was active.", 0);
  return true;
}

std::optional<bool> OutputSupervision::renderClockProgressed() {
  const auto sampleTime = readProperty<double>(*core_.audioUnit, AudioUnitProperty::lastRenderSampleTime);
  if (sampleTime && std::isfinite(*sampleTime)) {
    const auto previous = std::exchange(lastRenderSampleTime_, sampleTime);
    lastRenderCycleCount_.reset();
    return previous ? std::optional(*previous < *sampleTime) : std::nullopt;
  }
  if (!core_.renderContext) return std::nullopt;
  const std::int64_t cycles = core_.sequence.renderCycleCount();
  const auto previous = std::exchange(lastRenderCycleCount_, cycles);
  lastRenderSampleTime_.reset();
  return previous ? std::optional(*previous < cycles) : std::nullopt;
}

void OutputSupervision::scheduleOutputRecovery(std::string reason, double delay) {
  if (!core_.preparedAudio || !core_.isPlayingOrPaused()) return;
  recoveryReason_ = std::move(reason);
  if (recoveryTask_) return;
  recoveryTask_ = core_.runLoop.scheduleTimer(durationFromSeconds(std::max(delay, 0.0)), false, [this] {
    recoveryTask_.reset();
    if (std::exchange(recoversOnlyAfterAChange_, false) && isAsConfigured()) return judgePathAgain();
    recoverOutputIfNeeded();
  });
}

void OutputSupervision::recoverOutputIfNeeded() {
  if (isRecoveringOutput_ || !core_.preparedAudio || !core_.isPlayingOrPaused()) return;
  if (recoveryAttempts_ >= maximumRecoveryAttempts) return finishRecoveryWithError(std::string(recoveryReason_));
  ++recoveryAttempts_;
  stableHealthChecks_ = 0;  // health before the fault earns no new attempts, only health after it
  isRecoveringOutput_ = true;
  const bool wasPlaying = core_.state == PlaybackState::playing;
  if (wasPlaying && core_.audioUnit)
    if (const OSStatus status = core_.configuration.stopUnit(); status != noErr)
      core_.audioLogger.standard("AUHAL stop failed during recovery: {}", status);
  if (core_.transition.hasCrossed()) core_.transition.announce();
  if (!core_.preparedAudio || !core_.isPlayingOrPaused()) {
    isRecoveringOutput_ = false;
    return;
  }
  const PreparedAudio prepared = *core_.preparedAudio;
  const std::int64_t frame = prepared.context->currentFrame();
  core_.configuration.tearDown(
      {.unitAlreadyStopped = wasPlaying, .discardPrepared = false, .cancelPendingRecovery = false});
  prepared.context->seek(frame);
  core_.audioPathStatus.assign(AudioPathStatus::configuring());

  const auto configured = core_.configuration.configureOutput(prepared, wasPlaying);
  isRecoveringOutput_ = false;
  if (!configured) return recoveryFailed(configured.error().errorDescription());
  ++core_.statistics.recoveries;
  core_.audioLogger.standard("Recovered output at frame {} on attempt {}", frame, recoveryAttempts_);
}

void OutputSupervision::recoveryFailed(const std::string& description) {
  core_.audioLogger.standard("Output recovery attempt {} failed: {}", recoveryAttempts_, description);
  if (recoveryAttempts_ >= maximumRecoveryAttempts) return finishRecoveryWithError(description);
  // Nothing half-built, no rate and no hog mode is held while waiting for the next attempt.
  core_.configuration.tearDown({.discardPrepared = false, .cancelPendingRecovery = false});
  scheduleOutputRecovery(recoveryReason_, static_cast<double>(recoveryAttempts_) * backOffPerAttempt);
}

void OutputSupervision::finishRecoveryWithError(const std::string& message) {
  cancelPendingRecovery();
  core_.configuration.tearDown({.restoreSampleRate = false});
  core_.upcoming.want(std::nullopt);
  isRecoveringOutput_ = false;
  core_.forgetTrack();
  core_.setPlaybackState(PlaybackState::stopped);
  core_.audioPathStatus.assign(AudioPathStatus::failed(
      fmt::format("The output device did not recover after {} attempts. {}", maximumRecoveryAttempts, message)));
  core_.audioLogger.error("Output recovery exhausted all attempts");
}

void OutputSupervision::resetRecoveryState() {
  cancelPendingRecovery();
  recoveryReason_.clear();
  isRecoveringOutput_ = false;
  recoveryAttempts_ = 0;
  bufferFramesThatStay_.reset();
  stableHealthChecks_ = 0;
  stalledHealthChecks_ = 0;
  stoppedHealthChecks_ = 0;
  lastRenderSampleTime_.reset();
  lastRenderCycleCount_.reset();
}

void OutputSupervision::cancelPendingRecovery() {
  recoveryTask_.reset();
  recoversOnlyAfterAChange_ = false;
}

}  // namespace tolvane
