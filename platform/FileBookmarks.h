#pragma once
// The contract for finding a file again in a later run of the program, also when it has been renamed meanwhile.
// Any thread, several at once; blocks on the disk, for as long as a dead share pleases. Access to a file need not be
// asked for here: what can be read can be read.

#include <expected>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// Opaque bytes, good for storing; empty stands for none.
using FileBookmark = std::string;

struct ResolvedBookmark {
  FileURL url;
  /// The file lies elsewhere than the bookmark says: a fresh one should replace it.
  bool isStale = false;
  /// Whether the file may be read; a link to nowhere may not.
  bool isReadable = true;

  bool operator==(const ResolvedBookmark&) const = default;
};

class FileBookmarks {
 public:
  virtual ~FileBookmarks() = default;

  /// The error is a description for people.
  [[nodiscard]] virtual std::expected<FileBookmark, std::string> make(const FileURL& url) = 0;

  /// A bookmark of the path alone, made without asking the disk, for callers that cannot wait: the file that lies there
  /// later is taken for it, and one that has moved is not found. Nothing where the path cannot be kept.
  [[nodiscard]] virtual std::optional<FileBookmark> makeOfPath(const FileURL& url) const = 0;

  /// Where the file lay when the bookmark was made, without asking the disk; nothing where the bytes are no bookmark.
  [[nodiscard]] virtual std::optional<FileURL> storedURL(const FileBookmark& bookmark) const = 0;

  /// A result a bookmark, in their order; nothing where the file is gone or the bytes are no bookmark. Many at once, so
  /// that the search for files that have moved stays bounded however many have.
  [[nodiscard]] virtual std::vector<std::optional<ResolvedBookmark>> resolve(
      std::span<const FileBookmark> bookmarks) = 0;
};

}  // namespace tolvane
