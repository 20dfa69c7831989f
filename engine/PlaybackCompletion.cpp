#include "engine/PlaybackCompletion.h"

#include <algorithm>

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
  const bool isAtEnd = core_.renderContext->didReachEnd();
  if (isAtEnd && isWaitingForPlaybackDrain_) return complete();
  if (isAtEnd) isWaitingForPlaybackDrain_ = true;
  scheduleCompletionCheck(drainMargin());
}

void PlaybackCompletion::complete() {
  if (core_.configuration.stopUnit() != noErr)
    return core_.configuration.failRuntime("The output device stopped unexpectedly.", false);
  core_.configuration.tearDown({.unitAlreadyStopped = true});
  core_.forgetTrack();
  core_.audioPathStatus.assign(AudioPathStatus::ready());
  core_.setPlaybackState(PlaybackState::stopped);
  // Last: an observer may start the next track from within this change.
  core_.playbackCompletionCount.assign(core_.playbackCompletionCount.value() + 1);
}

void PlaybackCompletion::cancel() {
  completionTimer_.reset();
  isWaitingForPlaybackDrain_ = false;
}

}  // namespace tolvane
