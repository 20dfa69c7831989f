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

  /// What a CUE sheet calls it, else the file's name without its extension. Lives as long as the entry.
  [[nodiscard]] std::string_view title() const {
    const FileExcerpt* const sheet = url.excerpt();
    return sheet != nullptr && !sheet->title.empty() ? std::string_view(sheet->title) : url.stem();
  }
};

}  // namespace tolvane
