#pragma once
// The engine's one error type: what went wrong, in words that are shown to the user unchanged. A plain value. A text
// that comes without a translation is looked up: po/update collects what is given to failure() and to functions like
// it.

#include <expected>
#include <optional>
#include <utility>

#include "engine/FailureContext.h"
#include "platform/AudioStatus.h"
#include "platform/BilingualText.h"

namespace tolvane {

class AudioPlayerError {
 public:
  /// `message` is a complete sentence and is shown unchanged.
  [[nodiscard]] static AudioPlayerError message(BilingualText text) { return {std::move(text), std::nullopt}; }

  /// A stage that failed ("Binding the output device", without a full stop) and the status from the device layer.
  [[nodiscard]] static AudioPlayerError operation(BilingualText stage, OSStatus status) {
    return {std::move(stage), status};
  }

  /// The message, or the stage followed by " failed (Core Audio STATUS)."; with the reason in words instead of the
  /// status when a driver does not return, or when a device has no format for the track.
  [[nodiscard]] BilingualText errorDescription() const;

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
  AudioPlayerError(BilingualText text, std::optional<OSStatus> status)
      : text_(text.isTranslated() ? std::move(text) : inCatalogue(text)), status_(status) {}

  BilingualText text_;  ///< the message, or the stage
  std::optional<OSStatus> status_;
  FailureContext context_;
};

/// A value, or the error that explains its absence.
template <typename T>
using Result = std::expected<T, AudioPlayerError>;

/// For `return failure(…)` in a function that returns a Result.
[[nodiscard]] inline std::unexpected<AudioPlayerError> failure(BilingualText text) {
  return std::unexpected(AudioPlayerError::message(std::move(text)));
}
[[nodiscard]] inline std::unexpected<AudioPlayerError> failure(BilingualText stage, OSStatus status) {
  return std::unexpected(AudioPlayerError::operation(std::move(stage), status));
}

}  // namespace tolvane
