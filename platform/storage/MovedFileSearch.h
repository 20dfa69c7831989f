#pragma once
// Looks for files that are no longer where they lay: in their folder, in the folders beside it, above and below it.
// One search serves many files; what it may read is bounded, however many are missing. Main thread; blocks on the disk.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/storage/BookmarkToken.h"

namespace tolvane {

class MovedFileSearch {
 public:
  struct Limits {
    std::size_t folders = 1'000;
    std::size_t entries = 500'000;  ///< of folders
  };

  explicit MovedFileSearch(Limits limits) : left_(limits) {}

  /// In the folder in which the file lay.
  [[nodiscard]] std::optional<std::string> inItsFolder(const BookmarkToken& file);

  /// In the folders next to it. Ask for all files in their own folders first: this takes more of what may be read.
  [[nodiscard]] std::optional<std::string> nearby(const BookmarkToken& file);

 private:
  struct Subfolder {
    std::string name;
    std::uint64_t inode;
  };
  using Subfolders = std::vector<Subfolder>;
  struct Place {
    const std::string* folder;  ///< a key of subfolders_
    std::string name;
  };

  const Subfolders& read(const std::string& folder);
  void readEntries(const std::string& folder, Subfolders& subfolders);
  void readBelow(const std::string& folder, std::uint64_t firstInode);
  [[nodiscard]] std::optional<std::string> known(const BookmarkToken& file) const;

  Limits left_;
  std::unordered_map<std::string, Subfolders> subfolders_;  ///< of the folders read so far
  std::unordered_set<std::string> neighbourhoods_;          ///< folders whose neighbours have been read
  std::unordered_multimap<std::uint64_t, Place> places_;    ///< files in all of them, by inode
};

}  // namespace tolvane
