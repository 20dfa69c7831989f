#pragma once
// An entry of the playlist as the user interface sees it. A value.

#include <cstdint>
#include <string_view>

#include "platform/FileURL.h"

namespace tolvane {

/// Identity of a playlist entry: never 0, unique for each entry, never reused while the session lives. The same file
/// may be in the list more than once.
using PlaylistTrackID = std::uint64_t;

struct PlaylistTrack {
  PlaylistTrackID id = 0;
  FileURL url;

  bool operator==(const PlaylistTrack&) const = default;

  /// The file's name without its extension.
  [[nodiscard]] std::string_view title() const { return url.stem(); }
};

}  // namespace tolvane
