#pragma once
// Identifies a file independently of its path, so that a renamed file is recognised. A value; any thread.

#include <cstdint>
#include <expected>
#include <string>

namespace tolvane {

struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t bornSeconds = 0;  ///< since 1970; 0 if the file system does not report it
  std::uint32_t bornNanoseconds = 0;
  std::uint64_t size = 0;  ///< bytes

  bool operator==(const FileIdentity&) const = default;

  /// Whether a file that has `other` now is the one that had this identity. File systems reuse inodes for new files, so
  /// the time of birth decides, and the size where there is none. Device numbers may change with a restart.
  [[nodiscard]] bool isSameFile(const FileIdentity& other) const;
};

struct FileFacts {
  FileIdentity identity;
  bool isFolder = false;
};

/// What lies at the path; of a link, the link itself. Never mounts anything. The error is an errno.
[[nodiscard]] std::expected<FileFacts, int> factsOfFile(const std::string& path);

}  // namespace tolvane
