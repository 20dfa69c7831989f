#pragma once
// Searches for files that are no longer at their path: in their folder, and in the folders beside, above and below it.
// One search serves many files; what it may read is bounded, however many are missing. Player's thread; blocks on the
// disk.

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
  /// The files' own folders, and those that hold these, are as many as there are files at most: only their entries are
  /// counted. Of the folders around them, each that is looked at counts.
  struct Limits {
    std::size_t ownEntries = 1'000'000;
    std::size_t folders = 1'000;
    std::size_t entries = 500'000;
  };

  explicit MovedFileSearch(Limits limits) : left_(limits) {}

  // For many files: ask the first for all of them, then the second for those that are still missing, then the third.

  /// In the folder in which the file lay.
  [[nodiscard]] std::optional<std::string> inItsFolder(const BookmarkToken& file);

  /// In that folder under another name, or next to it.
  [[nodiscard]] std::optional<std::string> inItsRenamedFolder(const BookmarkToken& file);

  /// In the folders around it.
  [[nodiscard]] std::optional<std::string> nearby(const BookmarkToken& file);

 private:
  using Subfolders = std::vector<std::string>;  ///< their names
  struct Place {
    const std::string* folder;  ///< a key of subfolders_
    std::string name;
  };
  using Places = std::unordered_multimap<std::uint64_t, Place>;  ///< by inode

  const Subfolders& read(const std::string& folder, std::size_t& entriesLeft);
  void readEntries(const std::string& folder, Subfolders& subfolders, std::size_t& entriesLeft);
  void readBelow(const std::string& folder);
  [[nodiscard]] std::optional<std::string> known(const BookmarkToken& file) const;

  Limits left_;
  std::unordered_map<std::string, Subfolders> subfolders_;  ///< of the folders read so far
  std::unordered_set<std::string> readBelow_;               ///< folders whose subfolders have been read as well
  Places files_;                                            ///< in all folders read
  Places folders_;                                          ///< in all folders read
};

}  // namespace tolvane
