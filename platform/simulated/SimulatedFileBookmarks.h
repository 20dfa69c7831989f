#pragma once
// Bookmarks of files that a test describes: they can be renamed, disappear, become unreadable or refuse a bookmark.
// Files are added and changed by one thread, while no other thread reads them.

#include <atomic>
#include <cstdint>
#include <map>
#include <set>

#include "platform/FileBookmarks.h"

namespace tolvane {

class SimulatedFileBookmarks final : public FileBookmarks {
 public:
  /// A file that is not known can have no bookmark. Adding it again keeps its identity.
  void add(const FileURL& url);
  void remove(const FileURL& url);
  /// Its bookmarks find it at its new place.
  void rename(const FileURL& from, const FileURL& to);
  void setReadable(const FileURL& url, bool isReadable);
  /// make() gives the error for this file from now on; an empty one ends that.
  void failMaking(const FileURL& url, const std::string& error);

  [[nodiscard]] int madeCount() const { return madeCount_; }

  [[nodiscard]] std::expected<FileBookmark, std::string> make(const FileURL& url) override;
  [[nodiscard]] std::optional<FileBookmark> makeOfPath(const FileURL& url) const override;
  [[nodiscard]] std::optional<FileURL> storedURL(const FileBookmark& bookmark) const override;
  [[nodiscard]] std::vector<std::optional<ResolvedBookmark>> resolve(std::span<const FileBookmark> bookmarks) override;

 private:
  using Identity = std::uint64_t;

  [[nodiscard]] std::optional<ResolvedBookmark> resolved(const FileBookmark& bookmark) const;

  std::map<FileURL, Identity> identities_;
  std::map<Identity, FileURL> places_;
  std::set<FileURL> unreadable_;
  std::map<FileURL, std::string> errors_;
  Identity lastIdentity_ = 0;
  std::atomic<int> madeCount_ = 0;
};

}  // namespace tolvane
