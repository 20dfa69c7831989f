#pragma once
// The engine's one error type: what went wrong, in words that are shown to the user unchanged. A plain value.

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
  /// `message` is a complete sentence and is shown unchanged.
  [[nodiscard]] static AudioPlayerError message(std::string text) { return {std::move(text), std::nullopt}; }

  /// A stage that failed ("Binding the output device", without a full stop) and the status from the device layer.
  [[nodiscard]] static AudioPlayerError operation(std::string_view stage, OSStatus status) {
    return {std::string(stage), status};
  }

  /// The message, or the stage followed by " failed (Core Audio STATUS)."; with the reason in words instead of the
  /// status when a driver does not return, or when a device has no format for the track.
  [[nodiscard]] std::string errorDescription() const;

  /// The same error with its context.
  [[nodiscard]] AudioPlayerError with(FailureContext context) && {
    context_ = std::move(context);
    return std::move(*this);
  }
  [[nodiscard]] const FailureContext& context() const { return context_; }

  /// The status of the failed operation; nothing for a message.
  [[nodiscard]] std::optional<OSStatus> status() const { return status_; }

  bool operator==(const AudioPlayerError&) const = default;

 private:
  AudioPlayerError(std::string text, std::optional<OSStatus> status) : text_(std::move(text)), status_(status) {}

  std::string text_;  ///< the message, or the stage
  std::optional<OSStatus> status_;
  FailureContext context_;
};

/// A value, or the error that explains its absence.
template <typename T>
using Result = std::expected<T, AudioPlayerError>;

/// For `return failure(…)` in a function that returns a Result.
[[nodiscard]] inline std::unexpected<AudioPlayerError> failure(std::string text) {
  return std::unexpected(AudioPlayerError::message(std::move(text)));
}
[[nodiscard]] inline std::unexpected<AudioPlayerError> failure(std::string_view stage, OSStatus status) {
  return std::unexpected(AudioPlayerError::operation(stage, status));
}

}  // namespace tolvane
