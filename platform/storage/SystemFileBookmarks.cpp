#include "platform/storage/SystemFileBookmarks.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <system_error>
#include <thread>

namespace tolvane {

namespace {

struct MissingFile {
  std::size_t index;
  BookmarkToken token;
};

using Results = std::vector<std::optional<ResolvedBookmark>>;

/// The file at a path that exists. Checked with the rights with which it will be opened.
ResolvedBookmark found(std::string path, std::optional<FileExcerpt> excerpt, bool isStale) {
  const bool isReadable = ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
  return {.url = FileURL(std::move(path), std::move(excerpt)), .isStale = isStale, .isReadable = isReadable};
}

std::optional<FileExcerpt> excerptOf(const FileURL& url) {
  return url.excerpt() != nullptr ? std::optional(*url.excerpt()) : std::nullopt;
}

std::optional<FileBookmark> encodedIfKept(const BookmarkToken& token) {
  FileBookmark bytes = encoded(token);
  return decodedToken(bytes) == token ? std::optional(std::move(bytes)) : std::nullopt;
}

std::vector<MissingFile> resolveInPlace(std::span<const FileBookmark> bookmarks,
                                        std::span<std::optional<ResolvedBookmark>> results, std::size_t firstIndex) {
  std::vector<MissingFile> missing;
  for (std::size_t index = 0; index < bookmarks.size(); ++index) {
    auto token = decodedToken(bookmarks[index]);
    if (!token) continue;
    const auto facts = factsOfFile(token->path);
    const bool isOfPath = token->identity == FileIdentity{};
    if (facts && !facts->isFolder) {
      results[index] = found(std::move(token->path), std::move(token->excerpt), isOfPath);
    } else if (!isOfPath) {
      missing.push_back({firstIndex + index, std::move(*token)});
    }
  }
  return missing;
}

/// The start of the program waits for a long playlist: most of that time is spent on system calls, one for each file,
/// which several threads can make at once.
std::vector<MissingFile> resolveInPlace(std::span<const FileBookmark> bookmarks, Results& results) {
  constexpr std::size_t worthAThread = 2'000;
  const std::size_t parts = std::clamp<std::size_t>(bookmarks.size() / worthAThread, 1, 4);
  const std::size_t length = (bookmarks.size() + parts - 1) / parts;
  std::vector<std::vector<MissingFile>> missing(parts);
  const auto resolvePart = [&](std::size_t part) {
    const std::size_t begin = part * length;
    const std::size_t count = std::min(length, bookmarks.size() - begin);
    missing[part] = resolveInPlace(bookmarks.subspan(begin, count), std::span(results).subspan(begin, count), begin);
  };
  {
    std::vector<std::jthread> helpers;
    for (std::size_t part = 1; part < parts; ++part) {
      try {
        helpers.emplace_back(resolvePart, part);
      } catch (const std::system_error&) {  // no more threads
        resolvePart(part);
      }
    }
    resolvePart(0);
  }
  std::vector<MissingFile> all = std::move(missing.front());
  for (std::size_t part = 1; part < parts; ++part) std::ranges::move(missing[part], std::back_inserter(all));
  return all;
}

}  // namespace

std::expected<FileBookmark, std::string> SystemFileBookmarks::make(const FileURL& url) {
  const auto facts = factsOfFile(url.path());
  if (!facts) return std::unexpected(std::generic_category().message(facts.error()));
  auto bytes = encodedIfKept({.path = url.path(),
                              .identity = facts->identity,
                              .folderInode = inodeOfFolder(url.path()),
                              .excerpt = excerptOf(url)});
  if (!bytes) return std::unexpected("The path cannot be kept.");
  return *std::move(bytes);
}

std::optional<FileBookmark> SystemFileBookmarks::makeOfPath(const FileURL& url) const {
  return encodedIfKept({.path = url.path(), .identity = {}, .folderInode = 0, .excerpt = excerptOf(url)});
}

std::uint64_t SystemFileBookmarks::inodeOfFolder(const std::string& path) {
  auto folder = path.substr(0, path.rfind('/') + 1);
  {
    const std::lock_guard lock(mutex_);
    if (folder == lastFolder_) return lastFolderInode_;
  }
  const auto facts = factsOfFile(folder);
  const auto inode = facts ? facts->identity.inode : 0;
  const std::lock_guard lock(mutex_);
  lastFolder_ = std::move(folder);
  lastFolderInode_ = inode;
  return inode;
}

std::optional<FileURL> SystemFileBookmarks::storedURL(const FileBookmark& bookmark) const {
  auto token = decodedToken(bookmark);
  return token ? std::optional(FileURL(std::move(token->path), std::move(token->excerpt))) : std::nullopt;
}

std::vector<std::optional<ResolvedBookmark>> SystemFileBookmarks::resolve(std::span<const FileBookmark> bookmarks) {
  Results results(bookmarks.size());
  auto missing = resolveInPlace(bookmarks, results);
  MovedFileSearch search(limits_);
  const auto take = [&results](const MissingFile& file, std::optional<std::string> place) {
    if (place) results[file.index] = found(std::move(*place), file.token.excerpt, true);
    return results[file.index].has_value();
  };
  std::erase_if(missing, [&](const MissingFile& file) { return take(file, search.inItsFolder(file.token)); });
  std::erase_if(missing, [&](const MissingFile& file) { return take(file, search.inItsRenamedFolder(file.token)); });
  for (const auto& file : missing) take(file, search.nearby(file.token));
  return results;
}

}  // namespace tolvane
