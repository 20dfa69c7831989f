#pragma once
// A playlist without some of its entries, and its new current entry. Pure; used by the player to remove entries, and by
// the window to predict the result.

#include <cstdint>
#include <span>
#include <vector>

#include "session/PlaylistTracks.h"

namespace tolvane {

struct PlaylistRemoval {
  std::vector<bool> isKept;  ///< by row of the old list
  std::int64_t count = 0;    ///< of removed entries; 0: nothing changes
  PlaylistTracks tracks;     ///< the remaining entries
  /// Row of the current entry in `tracks`; if it is removed, of the entry that followed it, else of the last one.
  std::int64_t currentIndex = 0;
  bool takesCurrent = false;  ///< the current entry is removed
  bool hasFollower = false;   ///< and an entry after it remains
};

/// Unknown identities are ignored.
[[nodiscard]] PlaylistRemoval removalFrom(const PlaylistTracks& tracks, std::span<const PlaylistTrackID> removed,
                                          std::int64_t currentIndex);

}  // namespace tolvane
