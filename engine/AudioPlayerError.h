#pragma once
// The engine's one error type: what went wrong, in words that the listener reads unchanged. A plain value.

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "engine/FailureContext.h"
#include "platform/AudioStatus.h"

namespace tolvane {

class AudioPlayerError {
 public:
  /// A complete sentence, shown as it is.
  [[nodiscard]] static AudioPlayerError message(std::string text) { return {std::move(text), std::nullopt}; }

  /// A stage that failed ("Binding the output device", no full stop) and the status of the device layer.
  [[nodiscard]] static AudioPlayerError operation(std::string_view stage, OSStatus status) {
    return {std::string(stage), status};
  }

  /// The message, or the stage followed by " failed (Core Audio STATUS)."; in words where a driver does not
  /// return, and where a device has no format for the track.
  [[nodiscard]] std::string errorDescription() const;

  /// The same, and what is known besides.
  [[nodiscard]] AudioPlayerError with(FailureContext context) && {
    context_ = std::move(context);
    return std::move(*this);
  }
  [[nodiscard]] const FailureContext& context() const { return context_; }

  /// Of an operation; a message has none.
  [[nodiscard]] std::optional<OSStatus> status() const { return status_; }

  bool operator==(const AudioPlayerError&) const = default;

 private:
  AudioPlayerError(std::string text, std::optional<OSStatus> status) : text_(std::move(text)), status_(status) {}

  std::string text_;  ///< the message, or the stage
  std::optional<OSStatus> status_;
  FailureContext context_;
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
