#pragma once
// The bookmarks of the playlist's entries, by row. A bookmark that must still be read from the disk is awaited: until
// then its row has none, or one of the path alone. A value.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/FileBookmarks.h"

namespace tolvane {

class EntryBookmarks {
 public:
  EntryBookmarks() = default;
  /// None is awaited. An empty bookmark belongs to an entry that is not saved.
  explicit EntryBookmarks(std::vector<FileBookmark> bookmarks);
  /// `count` rows with awaited bookmarks.
  [[nodiscard]] static EntryBookmarks awaitedFor(std::size_t count);

  [[nodiscard]] std::span<const FileBookmark> all() const { return bookmarks_; }
  [[nodiscard]] std::size_t size() const { return bookmarks_.size(); }
  /// Whether there is no bookmark to save.
  [[nodiscard]] bool areNone() const { return unsaved_.size() == bookmarks_.size(); }
  [[nodiscard]] bool isAwaited(std::size_t row) const { return isAwaited_[row]; }
  /// The row's index among the saved rows; 0 for a row that is not saved or does not exist.
  [[nodiscard]] std::int64_t savedIndexOf(std::int64_t row) const;

  // Changes that follow those of the entries. REQUIRES: rows are in range.

  void move(std::int64_t source, std::int64_t target);
  /// Inserts `count` awaited bookmarks before a row, or at the end.
  void insert(std::int64_t row, std::size_t count);
  /// Keeps the rows that are marked; one mark per row.
  void keep(const std::vector<bool>& isKept);

  /// Sets bookmarks: `bookmarkOf(row)` returns nothing for a row that is to stay as it is.
  template <typename BookmarkOf>
  void assign(BookmarkOf bookmarkOf, bool areAwaitedStill) {
    for (std::size_t row = 0; row < bookmarks_.size(); ++row) {
      auto bookmark = bookmarkOf(row);
      if (!bookmark) continue;
      bookmarks_[row] = *std::move(bookmark);
      isAwaited_[row] = areAwaitedStill;
    }
    findUnsaved();
  }

 private:
  void findUnsaved();

  std::vector<FileBookmark> bookmarks_;
  std::vector<bool> isAwaited_;
  std::vector<std::int64_t> unsaved_;  ///< rows without a bookmark, ascending
};

}  // namespace tolvane
