#include "platform/storage/MovedFileSearch.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

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
  read(folderOf(file.path));
  return known(file);
}

std::optional<std::string> MovedFileSearch::nearby(const BookmarkToken& file) {
  const std::string home = folderOf(file.path);
  const std::string above = folderOf(home);
  // Next to a folder of the root lie other disks and the kernel's own trees.
  if (above != "/" && neighbourhoods_.insert(home).second) {
    read(above);
    // The folder itself may have been renamed: then all of its files are there.
    readBelow(above, file.folderInode);
    readBelow(home, 0);
  }
  return known(file);
}

void MovedFileSearch::readBelow(const std::string& folder, std::uint64_t firstInode) {
  const auto facts = factsOfFile(folder);
  if (!facts) return;
  auto subfolders = read(folder);
  std::ranges::stable_partition(subfolders, [&](const Subfolder& each) { return each.inode == firstInode; });
  for (const auto& each : subfolders) {
    if (left_.folders == 0) return;
    const std::string path = joined(folder, each.name);
    // Another disk cannot hold the file, and may take long to wake.
    const auto theirs = factsOfFile(path);
    if (theirs && theirs->identity.device == facts->identity.device) read(path);
  }
}

std::optional<std::string> MovedFileSearch::known(const BookmarkToken& file) const {
  const auto [begin, end] = places_.equal_range(file.identity.inode);
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

const MovedFileSearch::Subfolders& MovedFileSearch::read(const std::string& folder) {
  const auto [entry, isNew] = subfolders_.try_emplace(folder);
  if (isNew) readEntries(entry->first, entry->second);
  return entry->second;
}

/// REQUIRES: `folder` lives as long as this object.
void MovedFileSearch::readEntries(const std::string& folder, Subfolders& subfolders) {
  if (left_.folders == 0) return;
  --left_.folders;
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  const std::unique_ptr<DIR, CloseDirectory> directory(::fdopendir(descriptor));
  if (!directory) {
    ::close(descriptor);
    return;
  }
  while (const dirent* entry = ::readdir(directory.get())) {
    if (left_.entries == 0) break;
    --left_.entries;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    if (entry->d_type == DT_DIR) {
      subfolders.push_back({std::string(name), entry->d_ino});
    } else {
      places_.emplace(entry->d_ino, Place{&folder, std::string(name)});
    }
  }
  // Folders list their entries in no order; a search that ends early ends at the same place every time.
  std::ranges::sort(subfolders, {}, &Subfolder::name);
}

}  // namespace tolvane
