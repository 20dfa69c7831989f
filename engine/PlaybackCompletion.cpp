#include "engine/PlaybackCompletion.h"

#include <algorithm>
#include <utility>

#include "engine/EngineStateMachine.h"

namespace tolvane {
namespace {

/// How often, after the drain, to check whether the track has been heard to its end. Then playback ends in any case, so
/// that a device that stands still does not delay it for ever.
constexpr int mostLateChecks = 5;

}  // namespace

double PlaybackCompletion::drainMargin() const {
  constexpr double atLeastSeconds = 0.05;
  const Output& output = *machine_.output();
  const double bufferSeconds = std::max(output.bufferFrames(), 1U) / output.track()->format().mSampleRate;
  return std::max(2 * bufferSeconds, atLeastSeconds);
}

double PlaybackCompletion::secondsNotHeard() const {
  const Output& output = *machine_.output();
  const AudioRenderContext& track = *output.track();
  const auto heard = output.framesHeard();
  if (!heard) return 0;
  return static_cast<double>(track.totalFrames() - output.sequence().positionAfter(*heard)) / track.format().mSampleRate;
}

void PlaybackCompletion::scheduleCompletionTimer(std::int64_t remainingFrames) {
  const Output* const output = machine_.output();
  if (!machine_.isPlaying() || output == nullptr || !output->track()) return;
  const double sampleRate = output->track()->format().mSampleRate;
  if (!(sampleRate > 0)) return;
  isWaitingForPlaybackDrain_ = false;
  lateChecks_ = 0;
  scheduleCompletionCheck(static_cast<double>(std::max<std::int64_t>(remainingFrames, 0)) / sampleRate + drainMargin());
}

void PlaybackCompletion::scheduleCompletionCheck(double delay) {
  constexpr double soonestSeconds = 0.01;
  completionTimer_.reset();
  if (!machine_.isPlaying()) return;
  completionTimer_ = machine_.services().runLoop.scheduleTimer(durationFromSeconds(std::max(delay, soonestSeconds)),
                                                               false, [this] { checkForPlaybackCompletion(); });
}

void PlaybackCompletion::checkForPlaybackCompletion() {
  if (!machine_.is<Playing>()) return;
  if (machine_.transition().isCoupled()) return checkForCrossing();
  const bool isAtEnd = machine_.output()->track()->didReachEnd();
  if (isAtEnd && isWaitingForPlaybackDrain_) {
    const double left = secondsNotHeard();
    if (left <= 0 || ++lateChecks_ > mostLateChecks) return complete();
    return scheduleCompletionCheck(left);
  }
  if (isAtEnd) isWaitingForPlaybackDrain_ = true;
  scheduleCompletionCheck(drainMargin());
}

void PlaybackCompletion::scheduleCrossingCheck() {
  const Output& output = *machine_.output();
  const AudioRenderContext& context = *output.track();
  const auto heard = output.framesHeard();
  const std::int64_t position = heard ? output.sequence().positionAfter(*heard) : context.currentFrame();
  isWaitingForPlaybackDrain_ = false;
  scheduleCompletionCheck(static_cast<double>(context.totalFrames() - position) / context.format().mSampleRate);
}

void PlaybackCompletion::checkForCrossing() {
  const Output& output = *machine_.output();
  const auto crossing = output.sequence().crossing();
  if (!crossing) return scheduleCompletionCheck(0);
  const auto heard = output.framesHeard();
  // Without a clock, rendered frames count as heard after the time it takes to play them.
  const bool isHeard = heard ? *heard >= *crossing : std::exchange(isWaitingForPlaybackDrain_, true);
  if (isHeard) return machine_.transition().announce();
  scheduleCompletionCheck(heard ? static_cast<double>(*crossing - *heard) / output.track()->format().mSampleRate
                                : drainMargin());
}

void PlaybackCompletion::complete() {
  if (machine_.stopUnit() != noErr) return machine_.failRuntime("The output device stopped unexpectedly.");
  // An observer that plays the next track finds unit and device open.
  machine_.complete(machine_.upcoming().wanted().has_value());
}

void PlaybackCompletion::cancel() {
  completionTimer_.reset();
  isWaitingForPlaybackDrain_ = false;
}

}  // namespace tolvane
