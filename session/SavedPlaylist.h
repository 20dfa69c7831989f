#pragma once
// The record of the playlist that survives a restart. A value and its JSON text; pure.

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

/// The text of the record with these bookmarks; entries without one are left out.
[[nodiscard]] std::string encodedPlaylist(std::span<const FileBookmark> bookmarks);

/// Nothing unless every member is there and of its type. Any version decodes.
[[nodiscard]] std::optional<SavedPlaylist> decodedPlaylist(std::string_view text);

}  // namespace tolvane
