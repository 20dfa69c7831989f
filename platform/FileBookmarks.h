#pragma once
// The contract for finding a file again in a later run of the program, even if it has been renamed meanwhile. The URL
// that a bookmark gives back has the excerpt of the URL that it was made of. Any thread, several at once; blocks on the
// disk, without a limit on a dead share. Needs no permission beyond reading the file.

#include <expected>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// Opaque bytes that can be stored; empty: no bookmark.
using FileBookmark = std::string;

struct ResolvedBookmark {
  FileURL url;
  /// The file is no longer where the bookmark says: replace the bookmark.
  bool isStale = false;
  /// Whether the file may be read; a broken link may not.
  bool isReadable = true;

  bool operator==(const ResolvedBookmark&) const = default;
};

class FileBookmarks {
 public:
  virtual ~FileBookmarks() = default;

  /// The error is a description for the user.
  [[nodiscard]] virtual std::expected<FileBookmark, std::string> make(const FileURL& url) = 0;

  /// A bookmark of the path alone, made without reading the disk, for callers that must not wait. It resolves to any
  /// file that is there later, and does not find a file that has moved. Nothing if the path cannot be stored.
  [[nodiscard]] virtual std::optional<FileBookmark> makeOfPath(const FileURL& url) const = 0;

  /// Where the file was when the bookmark was made, without reading the disk; nothing if the bytes are no bookmark.
  [[nodiscard]] virtual std::optional<FileURL> storedURL(const FileBookmark& bookmark) const = 0;

  /// One result per bookmark, in order; nothing if the file is gone or the bytes are no bookmark. Takes many at once,
  /// so that the search for moved files stays bounded however many have moved.
  [[nodiscard]] virtual std::vector<std::optional<ResolvedBookmark>> resolve(
      std::span<const FileBookmark> bookmarks) = 0;
};

}  // namespace tolvane
