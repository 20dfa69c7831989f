#pragma once
// A bookmark as bytes: a path, which need not be UTF-8, the identity of the file at that path, and which part of it is
// meant. Pure.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/FileBookmarks.h"
#include "platform/storage/FileIdentity.h"

namespace tolvane {

struct BookmarkToken {
  std::string path;
  FileIdentity identity;          ///< all zero: only the path is known
  std::uint64_t folderInode = 0;  ///< of the folder in which it lay; 0 when unknown
  std::optional<FileExcerpt> excerpt{};  ///< nothing: the whole file

  bool operator==(const BookmarkToken&) const = default;
};

[[nodiscard]] FileBookmark encoded(const BookmarkToken& token);

/// Nothing for bytes that encoded() has not made.
[[nodiscard]] std::optional<BookmarkToken> decodedToken(std::string_view bytes);

}  // namespace tolvane
