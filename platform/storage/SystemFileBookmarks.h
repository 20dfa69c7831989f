#pragma once
// Bookmarks of the machine's own files: the path, and the file's identity for when it has been renamed. Any thread;
// blocks on the disk, never for a search without bounds.

#include <mutex>

#include "platform/FileBookmarks.h"
#include "platform/storage/MovedFileSearch.h"

namespace tolvane {

class SystemFileBookmarks final : public FileBookmarks {
 public:
  explicit SystemFileBookmarks(MovedFileSearch::Limits limits = {}) : limits_(limits) {}

  [[nodiscard]] std::expected<FileBookmark, std::string> make(const FileURL& url) override;
  [[nodiscard]] std::optional<FileBookmark> makeOfPath(const FileURL& url) const override;
  [[nodiscard]] std::optional<FileURL> storedURL(const FileBookmark& bookmark) const override;
  /// Any file at the path counts as the bookmarked file, as users, and programs that rewrite files, expect; only if
  /// there is none, the file is searched nearby.
  [[nodiscard]] std::vector<std::optional<ResolvedBookmark>> resolve(std::span<const FileBookmark> bookmarks) override;

 private:
  [[nodiscard]] std::uint64_t inodeOfFolder(const std::string& path);

  const MovedFileSearch::Limits limits_;

  // The folder of the last request: bookmarks are mostly made for one folder's files in a row. Guarded by mutex_, which
  // is never held during a disk access.
  std::mutex mutex_;
  std::string lastFolder_;
  std::uint64_t lastFolderInode_ = 0;
};

}  // namespace tolvane
