#pragma once
// Describes the last change of the playlist, for the offer to undo it. A value.

#include <cstdint>

namespace tolvane {

struct PlaylistChange {
  enum class Kind : std::uint8_t { replaced, moved, added, removed };

  Kind kind = Kind::replaced;
  /// Number of tracks that were replaced, moved, added or removed.
  std::int64_t count = 0;

  bool operator==(const PlaylistChange&) const = default;
};

}  // namespace tolvane
