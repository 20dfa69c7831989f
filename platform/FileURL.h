#pragma once
// The location of a file: an absolute path as bytes, which need not be UTF-8. Of a track that is a part of a file also
// which part. A plain value; touches no disk.

#include <compare>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/FileExcerpt.h"

namespace tolvane {

class FileURL {
 public:
  FileURL() = default;
  /// `path` as the system spells it; made absolute by the caller. Bytes are kept as they are.
  explicit FileURL(std::string path) : path_(std::move(path)) {}
  FileURL(std::string path, std::optional<FileExcerpt> excerpt);

  [[nodiscard]] const std::string& path() const { return path_; }
  /// Null: the file as it is. Lives as long as this object or a copy of it.
  [[nodiscard]] const FileExcerpt* excerpt() const { return excerpt_.get(); }
  /// Less than the whole file.
  [[nodiscard]] bool isPartOfFile() const { return excerpt_ && !excerpt_->isWholeFile(); }
  /// The file itself, without an excerpt.
  [[nodiscard]] FileURL file() const { return FileURL(path_); }
  /// After the last '/' ; a trailing '/' is ignored.
  [[nodiscard]] std::string_view lastPathComponent() const;
  /// After the last '.' of the last component, without the dot; empty when there is none, when the name starts with
  /// its only dot, or ends in a dot.
  [[nodiscard]] std::string_view pathExtension() const;
  /// The last component without its extension.
  [[nodiscard]] std::string_view stem() const;
  /// "file://" and the percent-encoded path: unreserved characters and '/' stand as they are. Says
  /// nothing of an excerpt.
  [[nodiscard]] std::string absoluteString() const;

  /// By path, then by excerpt.
  bool operator==(const FileURL& other) const;
  std::strong_ordering operator<=>(const FileURL& other) const;

 private:
  std::string path_;
  std::shared_ptr<const FileExcerpt> excerpt_;  ///< copies share it
};

/// ASCII letters only; other bytes stay.
[[nodiscard]] std::string asciiLowercased(std::string_view text);
[[nodiscard]] std::string asciiUppercased(std::string_view text);

}  // namespace tolvane
