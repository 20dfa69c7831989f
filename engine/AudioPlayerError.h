#pragma once
// The engine's one error type: what went wrong, in words that the listener reads unchanged. A plain value.

#include <expected>
#include <string>
#include <utility>

#include "platform/AudioStatus.h"

namespace tolvane {

class AudioPlayerError {
 public:
  /// A complete sentence, shown as it is.
  [[nodiscard]] static AudioPlayerError message(std::string text) { return AudioPlayerError(std::move(text)); }

  /// A stage that failed ("Binding the output device", no full stop) and the status of the device layer.
  [[nodiscard]] static AudioPlayerError operation(std::string_view stage, OSStatus status);

  [[nodiscard]] const std::string& errorDescription() const { return description_; }

  bool operator==(const AudioPlayerError&) const = default;

 private:
  explicit AudioPlayerError(std::string text) : description_(std::move(text)) {}

  std::string description_;
};

/// A value, or why there is none.
template <typename T>
using Result = std::expected<T, AudioPlayerError>;

/// For `return failure(…)` where a Result is wanted.
[[nodiscard]] inline std::unexpected<AudioPlayerError> failure(std::string text) {
  return std::unexpected(AudioPlayerError::message(std::move(text)));
}
[[nodiscard]] inline std::unexpected<AudioPlayerError> failure(std::string_view stage, OSStatus status) {
  return std::unexpected(AudioPlayerError::operation(stage, status));
}

}  // namespace tolvane
