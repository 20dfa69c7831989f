#pragma once
// Where files go that are opened or dropped. A value.

#include "session/PlaylistTrack.h"

namespace tolvane {

struct PlaylistPlace {
  bool replacesAll = true;     ///< false: they are added to the list
  PlaylistTrackID before = 0;  ///< the entry that will follow them; 0: none, they go to the end

  [[nodiscard]] static PlaylistPlace atTheEnd() { return {.replacesAll = false}; }

  bool operator==(const PlaylistPlace&) const = default;
};

}  // namespace tolvane
