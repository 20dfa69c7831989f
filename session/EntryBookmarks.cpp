#include "session/EntryBookmarks.h"

#include <algorithm>
#include <utility>

#include "session/PlaylistTracks.h"

namespace tolvane {

EntryBookmarks::EntryBookmarks(std::vector<FileBookmark> bookmarks)
    : bookmarks_(std::move(bookmarks)), isAwaited_(bookmarks_.size(), false) {
  findUnsaved();
}

EntryBookmarks EntryBookmarks::awaitedFor(std::size_t count) {
  EntryBookmarks awaited;
  awaited.insert(0, count);
  return awaited;
}

std::int64_t EntryBookmarks::savedIndexOf(std::int64_t row) const {
  if (row < 0 || row >= std::ssize(bookmarks_)) return 0;
  const auto next = std::ranges::lower_bound(unsaved_, row);
  if (next != unsaved_.end() && *next == row) return 0;
  return row - (next - unsaved_.begin());
}

void EntryBookmarks::move(std::int64_t source, std::int64_t target) {
  moveElement(bookmarks_, source, target);
  moveElement(isAwaited_, source, target);
  findUnsaved();
}

void EntryBookmarks::insert(std::int64_t row, std::size_t count) {
  bookmarks_.insert(bookmarks_.begin() + row, count, FileBookmark());
  isAwaited_.insert(isAwaited_.begin() + row, count, true);
  findUnsaved();
}

void EntryBookmarks::keep(const std::vector<bool>& isKept) {
  std::size_t kept = 0;
  for (std::size_t row = 0; row < bookmarks_.size(); ++row) {
    if (!isKept[row]) continue;
    if (kept != row) bookmarks_[kept] = std::move(bookmarks_[row]);
    isAwaited_[kept] = isAwaited_[row];
    ++kept;
  }
  bookmarks_.resize(kept);
  isAwaited_.resize(kept);
  findUnsaved();
}

void EntryBookmarks::findUnsaved() {
  unsaved_.clear();
  for (std::int64_t row = 0; row < std::ssize(bookmarks_); ++row) {
    if (bookmarks_[static_cast<std::size_t>(row)].empty()) unsaved_.push_back(row);
  }
}

}  // namespace tolvane
