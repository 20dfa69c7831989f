#pragma once
// Covers that lie within files of music, as files for other programs: the desktop shows what plays. Waits for the disk;
// any thread that may, one at a time.

#include <cstddef>
#include <filesystem>
#include <optional>

#include "platform/FileURL.h"
#include "platform/MusicTags.h"

namespace tolvane {

class CoverFolder {
 public:
  static constexpr std::size_t mostFiles = 32;

  /// The folder is created when it is needed, for this user alone.
  explicit CoverFolder(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// The file that holds the picture now, named by its content; the least recently used files are removed. Nothing if
  /// it cannot be written.
  [[nodiscard]] std::optional<FileURL> store(const Cover& cover) const;

 private:
  void removeOldest(const std::filesystem::path& kept) const;

  const std::filesystem::path folder_;
};

}  // namespace tolvane
