#pragma once
// A playlist without some of its entries, and which entry is the current one then. Pure; the player's side carries it
// out, the window's predicts it.

#include <cstdint>
#include <span>
#include <vector>

#include "session/PlaylistTracks.h"

namespace tolvane {

struct PlaylistRemoval {
  std::vector<bool> isKept;  ///< by row of the list as it was
  std::int64_t count = 0;    ///< of the entries that are gone; 0: nothing changes
  PlaylistTracks tracks;     ///< what is left
  /// Row of the current entry among those; where that is gone, of the one that followed it, else of the last one.
  std::int64_t currentIndex = 0;
  bool takesCurrent = false;  ///< the current entry is gone
  bool hasFollower = false;   ///< and an entry that followed it is left
};

/// Identities that are not in the list are ignored.
[[nodiscard]] PlaylistRemoval removalFrom(const PlaylistTracks& tracks, std::span<const PlaylistTrackID> removed,
                                          std::int64_t currentIndex);

}  // namespace tolvane
