#include "engine/PlaybackCompletion.h"

#include <algorithm>
#include <utility>

#include "engine/PlayerCore.h"

namespace tolvane {

double PlaybackCompletion::drainMargin() const {
  constexpr double atLeastSeconds = 0.05;
  const double bufferSeconds = std::max(core_.outputBufferFrameSize, 1U) / core_.renderContext->format().mSampleRate;
  return std::max(2 * bufferSeconds, atLeastSeconds);
}

void PlaybackCompletion::scheduleCompletionTimer(std::int64_t remainingFrames) {
  if (core_.state != PlaybackState::playing || !core_.renderContext) return;
  const double sampleRate = core_.renderContext->format().mSampleRate;
  if (!(sampleRate > 0)) return;
  isWaitingForPlaybackDrain_ = false;
  scheduleCompletionCheck(static_cast<double>(std::max<std::int64_t>(remainingFrames, 0)) / sampleRate + drainMargin());
}

void PlaybackCompletion::scheduleCompletionCheck(double delay) {
  constexpr double soonestSeconds = 0.01;
  completionTimer_.reset();
  if (core_.state != PlaybackState::playing) return;
  completionTimer_ = core_.runLoop.scheduleTimer(durationFromSeconds(std::max(delay, soonestSeconds)), false,
                                                 [this] { checkForPlaybackCompletion(); });
}

void PlaybackCompletion::checkForPlaybackCompletion() {
  if (core_.state != PlaybackState::playing || !core_.audioUnit || !core_.renderContext) return;
  if (core_.transition.isCoupled()) return checkForCrossing();
  const bool isAtEnd = core_.renderContext->didReachEnd();
  if (isAtEnd && isWaitingForPlaybackDrain_) return complete();
  if (isAtEnd) isWaitingForPlaybackDrain_ = true;
  scheduleCompletionCheck(drainMargin());
}

void PlaybackCompletion::scheduleCrossingCheck() {
  const AudioRenderContext& context = *core_.renderContext;
  const auto heard = core_.configuration.framesHeard();
  const std::int64_t position = heard ? core_.sequence.positionAfter(*heard) : context.currentFrame();
  isWaitingForPlaybackDrain_ = false;
  scheduleCompletionCheck(static_cast<double>(context.totalFrames() - position) / context.format().mSampleRate);
}

void PlaybackCompletion::checkForCrossing() {
  const auto crossing = core_.sequence.crossing();
  if (!crossing) return scheduleCompletionCheck(0);
  const auto heard = core_.configuration.framesHeard();
  // Without a clock, what has been rendered is heard after as long as it takes to play a track out.
  const bool isHeard = heard ? *heard >= *crossing : std::exchange(isWaitingForPlaybackDrain_, true);
  if (isHeard) return core_.transition.announce();
  scheduleCompletionCheck(heard ? static_cast<double>(*crossing - *heard) / core_.renderContext->format().mSampleRate
                                : drainMargin());
}

void PlaybackCompletion::complete() {
  if (core_.configuration.stopUnit() != noErr)
    return core_.configuration.failRuntime("The output device stopped unexpectedly.", false);
  // Who plays the next track finds unit and device open.
  const bool isParked = core_.upcoming.wanted() && core_.transition.parkOutput(true);
  if (!isParked) core_.configuration.tearDown({.unitAlreadyStopped = true});
  core_.forgetTrack();
  core_.audioPathStatus.assign(AudioPathStatus::ready());
  core_.setPlaybackState(PlaybackState::stopped);
  // Last: an observer may start the next track from within this change.
  core_.countCompletion();
  if (core_.state == PlaybackState::stopped && core_.transition.isParked()) core_.configuration.tearDown({});
}

void PlaybackCompletion::cancel() {
  completionTimer_.reset();
  isWaitingForPlaybackDrain_ = false;
}

}  // namespace tolvane
