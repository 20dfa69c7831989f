#pragma once
// What the engine publishes. A transition writes the next values and publishes them once, at its end: an observer sees
// the state before or after it, never a mixture. Player's thread.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "engine/AudioPathStatus.h"
#include "engine/ExclusiveAccessStatus.h"
#include "engine/Published.h"
#include "engine/SignalPath.h"
#include "platform/FileURL.h"

namespace tolvane {

struct PublishedValues {
  bool isPlaying = false;
  bool isPaused = false;
  bool isPreparing = false;
  bool startsPaused = false;  ///< the track that is being prepared will be paused
  std::optional<FileURL> currentURL;
  double duration = 0;    ///< seconds; 0 until an output is opened for a track
  double sampleRate = 0;  ///< the source's, hertz; 0 until an output is opened for a track
  AudioPathStatus audioPathStatus = AudioPathStatus::ready();
  std::shared_ptr<const SignalPath> signalPath;  ///< the path that the status judges; null: none
  ExclusiveAccessStatus exclusiveAccessStatus = ExclusiveAccessStatus::off();
  std::int64_t playbackCompletionCount = 0;
};

class PublishedState {
 public:
  Published<bool> isPlaying{false};
  Published<bool> isPaused{false};
  Published<bool> isPreparing{false};
  Published<bool> startsPaused{false};
  Published<std::optional<FileURL>> currentURL{std::nullopt};
  Published<double> duration{0};
  Published<double> sampleRate{0};
  Published<AudioPathStatus> audioPathStatus{AudioPathStatus::ready()};
  Published<std::shared_ptr<const SignalPath>> signalPath{nullptr};
  Published<ExclusiveAccessStatus> exclusiveAccessStatus{ExclusiveAccessStatus::off()};
  Published<std::int64_t> playbackCompletionCount{0};

  /// Replaces all values, then notifies of those that have changed; of the completion count last.
  void publish(const PublishedValues& values);
  /// Within a notification from which operations of the engine must not be called: any except that of the completion
  /// count.
  [[nodiscard]] bool isNotifying() const { return isNotifying_; }

  /// `observer` is called after every change of any value.
  [[nodiscard]] Subscription onChange(const std::function<void()>& observer) const;

 private:
  bool isNotifying_ = false;
};

}  // namespace tolvane
