#pragma once
// The saved playlist. A value and its JSON text; pure.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileBookmarks.h"

namespace tolvane {

struct SavedPlaylist {
  static constexpr std::int64_t currentVersion = 1;

  std::int64_t version = currentVersion;
  std::vector<FileBookmark> bookmarks;  ///< in the order of the playlist

  bool operator==(const SavedPlaylist&) const = default;
};

/// The record with these bookmarks as text; entries without a bookmark are left out.
[[nodiscard]] std::string encodedPlaylist(std::span<const FileBookmark> bookmarks);

/// Nothing unless every member is present and of its type. Any version is accepted.
[[nodiscard]] std::optional<SavedPlaylist> decodedPlaylist(std::string_view text);

}  // namespace tolvane
