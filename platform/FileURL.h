#pragma once
// The location of a file: an absolute path as bytes, which need not be UTF-8. A plain value; touches no disk.

#include <compare>
#include <string>
#include <string_view>

namespace tolvane {

class FileURL {
 public:
  FileURL() = default;
  /// `path` as the system spells it; made absolute by the caller. Bytes are kept as they are.
  explicit FileURL(std::string path) : path_(std::move(path)) {}

  [[nodiscard]] const std::string& path() const { return path_; }
  /// After the last '/' ; a trailing '/' is ignored.
  [[nodiscard]] std::string_view lastPathComponent() const;
  /// After the last '.' of the last component, without the dot; empty when there is none, when the name starts with
  /// its only dot, or ends in a dot.
  [[nodiscard]] std::string_view pathExtension() const;
  /// The last component without its extension.
  [[nodiscard]] std::string_view stem() const;
  /// "file://" and the percent-encoded path: unreserved characters and '/' stand as they are.
  [[nodiscard]] std::string absoluteString() const;

  auto operator<=>(const FileURL&) const = default;

 private:
  std::string path_;
};

/// ASCII letters only; other bytes stay.
[[nodiscard]] std::string asciiLowercased(std::string_view text);
[[nodiscard]] std::string asciiUppercased(std::string_view text);

}  // namespace tolvane
