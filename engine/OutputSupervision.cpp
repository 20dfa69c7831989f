#include "engine/OutputSupervision.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "engine/EngineStateMachine.h"
#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

constexpr std::chrono::milliseconds healthCheckInterval{500};
constexpr std::chrono::seconds healthyRecoveryResetInterval{30};
constexpr std::int64_t healthyChecksToReset = healthyRecoveryResetInterval / healthCheckInterval;
constexpr std::int64_t stoppedChecksToRecover = 2;
constexpr std::int64_t stalledChecksToRecover = 3;
constexpr std::int64_t maximumRecoveryAttempts = 3;
constexpr double propertyChangeDelay = 0.35;  // seconds: a burst of related notifications causes one recovery
constexpr double backOffPerAttempt = 0.5;     // seconds

constexpr std::array observedDeviceProperties{
    globalAddress(kAudioDevicePropertyNominalSampleRate), globalAddress(kAudioDevicePropertyActualSampleRate),
    globalAddress(kAudioDevicePropertyHogMode),           globalAddress(kAudioDevicePropertyDeviceIsAlive),
    outputAddress(kAudioDevicePropertyStreams),           outputAddress(kAudioDevicePropertyStreamConfiguration),
    globalAddress(kAudioDevicePropertyBufferFrameSize),   globalAddress(kAudioDevicePropertyProcessingIsActive),
    globalAddress(kAudioDevicePropertyReopeningIsDue)};
constexpr std::array observedStreamProperties{globalAddress(kAudioStreamPropertyPhysicalFormat),
                                              globalAddress(kAudioStreamPropertyVirtualFormat),
                                              globalAddress(kAudioStreamPropertyIsActive)};
constexpr std::array judgedProperties{kAudioDevicePropertyNominalSampleRate, kAudioDevicePropertyActualSampleRate,
                                      kAudioStreamPropertyPhysicalFormat, kAudioStreamPropertyVirtualFormat};

}  // namespace

void OutputSupervision::installOutputPropertyObservers(AudioObjectID deviceID) {
  removeOutputPropertyObservers();
  configuredFor_ = DeviceCondition::read(machine_.services().hardware, machine_.services().device, deviceID);
  // Some devices have a buffer only while the unit runs.
  if (configuredFor_.bufferFrames != 0) machine_.output()->setBufferFrames(configuredFor_.bufferFrames);
  const std::uint64_t generation = outputObservationGeneration_;
  for (const auto& address : observedDeviceProperties) observeAudioProperty(deviceID, address, generation);
  for (const AudioObjectID stream : machine_.services().device.readOutputStreamIDs(deviceID))
    for (const auto& address : observedStreamProperties) observeAudioProperty(stream, address, generation);
}

void OutputSupervision::observeAudioProperty(AudioObjectID objectID, const AudioObjectPropertyAddress& address,
                                             std::uint64_t generation) {
  if (!machine_.services().hardware.hasProperty(objectID, address)) return;
  auto listener = self_.bind([generation](OutputSupervision& supervision, const AudioObjectPropertyAddress& changed) {
    supervision.handleOutputPropertyChange(changed.mSelector, generation);
  });
  const auto registered = machine_.services().hardware.addPropertyListener(objectID, address, std::move(listener));
  if (!registered)
    machine_.services().logger.standard("Could not observe audio property {}: {}", address.mSelector,
                                        registered.error());
  else
    propertyObservations_.push_back(*registered);
}

void OutputSupervision::removeOutputPropertyObservers() {
  ++outputObservationGeneration_;
  for (const auto observation : propertyObservations_) machine_.services().hardware.removePropertyListener(observation);
  propertyObservations_.clear();
}

void OutputSupervision::handleOutputPropertyChange(FourCharCode selector, std::uint64_t generation) {
  if (generation != outputObservationGeneration_ || !(machine_.is<Playing>() || machine_.is<Paused>())) return;
  if (selector == kAudioDevicePropertyHogMode) return machine_.exclusiveAccess().verifyExclusiveAccess(true);
  if (selector == kAudioDevicePropertyReopeningIsDue) return reopenIfDue();
  // For example, a volume along the path has changed: the output is still correct, only the verdict changes.
  if (selector == kAudioDevicePropertyProcessingIsActive) return judgePathAgain();
  // The recovery waits until the burst ends; the verdict is corrected at once.
  if (std::ranges::find(judgedProperties, selector) != judgedProperties.end()) judgePathAgain();
  machine_.services().logger.standard("Output property changed: {}", selector);
  const bool canBeHarmless = machine_.outputWithUnit() && selector != kAudioDevicePropertyDeviceIsAlive;
  recoversOnlyAfterAChange_ = canBeHarmless && (recoversOnlyAfterAChange_ || !recoveryTask_);
  scheduleOutputRecovery("The output device changed its audio configuration.", propertyChangeDelay);
}

bool OutputSupervision::isAsConfigured() {
  Output* const output = machine_.outputWithUnit();
  if (output == nullptr || !output->track() || output->hasStoppedByItself()) return false;
  const auto now = DeviceCondition::read(machine_.services().hardware, machine_.services().device, output->deviceID());
  if (now.bufferFrames != 0 && now.bufferFrames == bufferFramesThatStay_)
    configuredFor_.bufferFrames = now.bufferFrames;
  if (!configuredFor_.isKeptBy(now, output->track()->format().mSampleRate, machine_.is<Paused>())) {
    bufferFramesThatStay_ = now.bufferFrames;
    return false;
  }
  configuredFor_.learn(now);
  if (configuredFor_.bufferFrames != 0) output->setBufferFrames(configuredFor_.bufferFrames);
  return true;
}

void OutputSupervision::judgePathAgain() {
  const Output* const output = machine_.output();
  if (output == nullptr) return;
  machine_.judgePath(machine_.services().device.readHogMode(output->deviceID()));
  machine_.publish();
}

void OutputSupervision::startOutputHealthMonitor() {
  // Clock readings of an earlier unit, or from before a pause, do not apply to this one.
  stalledHealthChecks_ = 0;
  stoppedHealthChecks_ = 0;
  lastRenderSampleTime_.reset();
  lastRenderCycleCount_.reset();
  keepMusicInMemory();
  healthTimer_ = machine_.services().runLoop.scheduleTimer(healthCheckInterval, true, [this] { checkOutputHealth(); });
}

void OutputSupervision::stopOutputHealthMonitor() { healthTimer_.reset(); }

void OutputSupervision::checkOutputHealth() {
  keepMusicInMemory();
  if (Output* const output = machine_.outputWithUnit()) output->takeDelivered();
  if (!machine_.is<Playing>() || recoveryTask_) return;
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
  const Output* const output = machine_.output();
  if (output == nullptr || !output->track() || output->track()->isInMemory(secondsAhead)) return;
  if (isReadingAhead_->exchange(true)) return;  // so that a slow disk has only one reader at a time
  machine_.services().background([current = std::weak_ptr(output->track()), isReading = isReadingAhead_] {
    if (const auto context = current.lock()) context->bringIntoMemory(secondsAhead);
    *isReading = false;
  });
}

bool OutputSupervision::reportsRenderError() {
  const auto code = readProperty<std::int32_t>(*machine_.output()->unit(), AudioUnitProperty::lastRenderError);
  if (code.value_or(noErr) == noErr) return false;
  machine_.services().logger.error("AUHAL reported render error {}", *code);
  scheduleOutputRecovery(bilingual("AUHAL reported a render error (Core Audio {}).", *code), 0);
  return true;
}

bool OutputSupervision::reportsStoppedUnit() {
  constexpr std::uint32_t running = 1;
  const bool stopped =
      readProperty<std::uint32_t>(*machine_.output()->unit(), AudioUnitProperty::isRunning).value_or(running) == 0;
  stoppedHealthChecks_ = stopped ? stoppedHealthChecks_ + 1 : 0;
  if (stoppedHealthChecks_ < stoppedChecksToRecover) return false;
  scheduleOutputRecovery("AUHAL stopped while playback was active.", 0);
  return true;
}

std::optional<bool> OutputSupervision::renderClockProgressed() {
  const Output& output = *machine_.output();
  const auto sampleTime = readProperty<double>(*output.unit(), AudioUnitProperty::lastRenderSampleTime);
  if (sampleTime && std::isfinite(*sampleTime)) {
    const auto previous = std::exchange(lastRenderSampleTime_, sampleTime);
    lastRenderCycleCount_.reset();
    return previous ? std::optional(*previous < *sampleTime) : std::nullopt;
  }
  const std::int64_t cycles = output.sequence().renderCycleCount();
  const auto previous = std::exchange(lastRenderCycleCount_, cycles);
  lastRenderSampleTime_.reset();
  return previous ? std::optional(*previous < cycles) : std::nullopt;
}

void OutputSupervision::scheduleOutputRecovery(BilingualText reason, double delay) {
  if (!machine_.isPlayingOrPaused()) return;
  recoveryReason_ = reason.isTranslated() ? std::move(reason) : inCatalogue(reason);
  if (recoveryTask_) return;
  recoveryTask_ = machine_.services().runLoop.scheduleTimer(durationFromSeconds(std::max(delay, 0.0)), false, [this] {
    recoveryTask_.reset();
    if (std::exchange(recoversOnlyAfterAChange_, false) && isAsConfigured()) return judgePathAgain();
    recoverOutputIfNeeded();
  });
}

void OutputSupervision::reopenIfDue() {
  const Output* const output = machine_.outputWithUnit();
  if (!machine_.is<Paused>() || output == nullptr || recoveryTask_) return;
  if (!machine_.services().device.isReopeningDue(output->deviceID())) return;
  recoveryReason_ = bilingual("The output device could not be opened anew.");
  recoveryTask_ = machine_.services().runLoop.scheduleTimer({}, false, [this] {
    recoveryTask_.reset();
    if (machine_.is<Paused>()) recoverOutputIfNeeded();
  });
}

void OutputSupervision::recoverOutputIfNeeded() {
  if (!machine_.isPlayingOrPaused()) return;
  if (recoveryAttempts_ >= maximumRecoveryAttempts)
    return finishRecoveryWithError(AudioPlayerError::message(recoveryReason_));
  ++recoveryAttempts_;
  stableHealthChecks_ = 0;  // only checks that pass after the fault count towards new attempts
  const bool wasPlaying = machine_.isPlaying();
  if (machine_.is<Playing>())
    if (const OSStatus status = machine_.stopUnit(); status != noErr)
      machine_.services().logger.standard("AUHAL stop failed during recovery: {}", status);
  const auto frame = machine_.rebuildOutput(
      {.unitAlreadyStopped = wasPlaying, .discardPrepared = false, .cancelPendingRecovery = false});
  if (!frame) return recoveryFailed(frame.error());
  if (!*frame) return;
  const double seconds = static_cast<double>(**frame) / machine_.track()->context->format().mSampleRate;
  machine_.countRecovery(bilingual("{} Playback went on at {:.1f} s of the track.", recoveryReason_, seconds));
  machine_.services().logger.standard("Recovered output at frame {} on attempt {}", **frame, recoveryAttempts_);
}

void OutputSupervision::recoveryFailed(const AudioPlayerError& error) {
  machine_.services().logger.standard("Output recovery attempt {} failed: {}", recoveryAttempts_,
                                      error.errorDescription());
  if (recoveryAttempts_ >= maximumRecoveryAttempts) return finishRecoveryWithError(error);
  // No half-built unit, rate or hog mode is held until the next attempt.
  machine_.waitForNextAttempt();
  scheduleOutputRecovery(recoveryReason_, static_cast<double>(recoveryAttempts_) * backOffPerAttempt);
}

void OutputSupervision::finishRecoveryWithError(const AudioPlayerError& error) {
  machine_.upcoming().want(std::nullopt);
  const auto whole = AudioPlayerError::message(bilingual("The output device did not recover after {} attempts. {}",
                                                         maximumRecoveryAttempts, error.errorDescription()))
                         .with(error.context());
  machine_.stop(AudioPathStatus::failed(whole), {.restoreSampleRate = false});
  machine_.services().logger.error("Output recovery exhausted all attempts");
}

void OutputSupervision::resetRecoveryState() {
  cancelPendingRecovery();
  recoveryReason_.clear();
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
