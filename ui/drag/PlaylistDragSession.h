#pragma once
// A row that is dragged to another place: only a drag that this window started, of the track that it started with, may
// move a track. A value.

#include <cstdint>
#include <optional>

#include "ui/drag/Uuid.h"

namespace tolvane {

enum class PlaylistDragPhase : std::uint8_t { dragging, committing };

struct PlaylistDragSession {
  Uuid id;
  Uuid trackID;
  PlaylistDragPhase phase = PlaylistDragPhase::dragging;
  std::optional<std::int64_t> insertionIndex;   ///< the gap before which the track would land, 0 … count
  std::optional<std::int64_t> dropTargetIndex;  ///< the row under the pointer

  bool operator==(const PlaylistDragSession&) const = default;
};

/// Where a track goes that is dropped into a gap, counted in the list without it. Nothing where it would stay, and
/// where there is nothing to reorder.
[[nodiscard]] std::optional<std::int64_t> moveDestination(std::int64_t source, std::int64_t insertionIndex,
                                                          std::int64_t count);

}  // namespace tolvane
