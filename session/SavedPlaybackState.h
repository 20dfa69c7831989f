#pragma once
// The saved position in the playlist. A value and its JSON text; pure.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tolvane {

struct SavedPlaybackState {
  std::int64_t version = 1;
  std::int64_t currentIndex = 0;  ///< index among the saved bookmarks, not among the entries of the playlist
  double position = 0;            ///< seconds
  double duration = 0;            ///< seconds; 0: unknown

  bool operator==(const SavedPlaybackState&) const = default;
};

/// Nothing if a number is not finite: JSON has no such numbers.
[[nodiscard]] std::optional<std::string> encodedState(const SavedPlaybackState& state);

/// Nothing unless every member is present and of its type.
[[nodiscard]] std::optional<SavedPlaybackState> decodedState(std::string_view text);

}  // namespace tolvane
