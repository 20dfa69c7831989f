#include "platform/storage/MovedFileSearch.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "platform/EntryType.h"

namespace tolvane {

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  return slash == 0 || slash == std::string::npos ? "/" : path.substr(0, slash);
}

std::string joined(const std::string& folder, std::string_view name) {
  std::string path = folder;
  if (!path.ends_with('/')) path += '/';
  return path += name;
}

}  // namespace

std::optional<std::string> MovedFileSearch::inItsFolder(const BookmarkToken& file) {
  read(folderOf(file.path), left_.ownEntries);
  return known(file);
}

std::optional<std::string> MovedFileSearch::inItsRenamedFolder(const BookmarkToken& file) {
  const std::string above = folderOf(folderOf(file.path));
  // Next to a folder of the root lie other disks and the kernel's own trees.
  if (above == "/") return known(file);
  read(above, left_.ownEntries);
  std::vector<std::string> renamed;
  const auto [begin, end] = folders_.equal_range(file.folderInode);
  for (auto place = begin; place != end; ++place) renamed.push_back(joined(*place->second.folder, place->second.name));
  for (const auto& folder : renamed) read(folder, left_.ownEntries);
  return known(file);
}

std::optional<std::string> MovedFileSearch::nearby(const BookmarkToken& file) {
  const std::string home = folderOf(file.path);
  const std::string above = folderOf(home);
  if (above != "/") {
    readBelow(above);
    readBelow(home);
  }
  return known(file);
}

void MovedFileSearch::readBelow(const std::string& folder) {
  if (left_.folders == 0 || !readBelow_.insert(folder).second) return;
  const auto facts = factsOfFile(folder);
  if (!facts) return;
  // References into the map stay good while it grows.
  for (const auto& name : read(folder, left_.entries)) {
    const std::string path = joined(folder, name);
    if (subfolders_.contains(path)) continue;
    if (left_.folders == 0) return;
    --left_.folders;
    // Another disk cannot hold the file, and may take long to wake.
    const auto theirs = factsOfFile(path);
    if (theirs && theirs->identity.device == facts->identity.device) read(path, left_.entries);
  }
}

std::optional<std::string> MovedFileSearch::known(const BookmarkToken& file) const {
  const auto [begin, end] = files_.equal_range(file.identity.inode);
  std::optional<std::string> found;
  for (auto place = begin; place != end; ++place) {
    std::string path = joined(*place->second.folder, place->second.name);
    const auto facts = factsOfFile(path);
    if (!facts || facts->isFolder || !file.identity.isSameFile(facts->identity)) continue;
    // A file may have several names: the same one is found every time.
    if (!found || path < *found) found = std::move(path);
  }
  return found;
}

const MovedFileSearch::Subfolders& MovedFileSearch::read(const std::string& folder, std::size_t& entriesLeft) {
  const auto [entry, isNew] = subfolders_.try_emplace(folder);
  if (isNew) readEntries(entry->first, entry->second, entriesLeft);
  return entry->second;
}

/// REQUIRES: `folder` lives as long as this object.
void MovedFileSearch::readEntries(const std::string& folder, Subfolders& subfolders, std::size_t& entriesLeft) {
  if (entriesLeft == 0) return;
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(descriptor));
  if (!directory) {
    ::close(descriptor);
    return;
  }
  while (const dirent* entry = ::readdir(directory.get())) {
    if (entriesLeft == 0) break;
    --entriesLeft;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    const bool isFolder = typeOfEntry(descriptor, *entry) == DT_DIR;
    if (isFolder) subfolders.emplace_back(name);
    (isFolder ? folders_ : files_).emplace(entry->d_ino, Place{&folder, std::string(name)});
  }
  // Folders list their entries in no order; a search that ends early ends at the same place every time.
  std::ranges::sort(subfolders);
}

}  // namespace tolvane
