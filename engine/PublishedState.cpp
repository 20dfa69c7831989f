#include "engine/PublishedState.h"

#include <utility>
#include <vector>

namespace tolvane {

void PublishedState::publish(const PublishedValues& values) {
  const bool playing = isPlaying.replace(values.isPlaying);
  const bool paused = isPaused.replace(values.isPaused);
  const bool preparing = isPreparing.replace(values.isPreparing);
  const bool starts = startsPaused.replace(values.startsPaused);
  const bool url = currentURL.replace(values.currentURL);
  const bool seconds = duration.replace(values.duration);
  const bool rate = sampleRate.replace(values.sampleRate);
  const bool path = audioPathStatus.replace(values.audioPathStatus);
  const bool stages = signalPath.replace(values.signalPath);
  const bool exclusive = exclusiveAccessStatus.replace(values.exclusiveAccessStatus);
  const bool count = playbackCompletionCount.replace(values.playbackCompletionCount);

  isNotifying_ = true;
  if (playing) isPlaying.notify();
  if (paused) isPaused.notify();
  if (preparing) isPreparing.notify();
  if (starts) startsPaused.notify();
  if (url) currentURL.notify();
  if (seconds) duration.notify();
  if (rate) sampleRate.notify();
  if (path) audioPathStatus.notify();
  if (stages) signalPath.notify();
  if (exclusive) exclusiveAccessStatus.notify();
  isNotifying_ = false;
  if (count) playbackCompletionCount.notify();
}

Subscription PublishedState::onChange(const std::function<void()>& observer) const {
  const auto changed = [observer](const auto&) { observer(); };
  std::vector<Subscription> parts;
  parts.push_back(isPlaying.subscribe(changed));
  parts.push_back(isPaused.subscribe(changed));
  parts.push_back(isPreparing.subscribe(changed));
  parts.push_back(startsPaused.subscribe(changed));
  parts.push_back(currentURL.subscribe(changed));
  parts.push_back(duration.subscribe(changed));
  parts.push_back(sampleRate.subscribe(changed));
  parts.push_back(audioPathStatus.subscribe(changed));
  parts.push_back(signalPath.subscribe(changed));
  parts.push_back(exclusiveAccessStatus.subscribe(changed));
  parts.push_back(playbackCompletionCount.subscribe(changed));
  return Subscription::joined(std::move(parts));
}

}  // namespace tolvane
