#include "session/AudioFileDiscovery.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utf8proc.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>

#include "platform/AudioFormats.h"
#include "platform/EntryType.h"
#include "session/PlaylistFile.h"

namespace tolvane {

namespace {

namespace fs = std::filesystem;

/// Characters below U+0300, whose UTF-8 begins with 0xCC, are already composed, and no two of them compose.
bool isSurelyComposed(std::string_view text) {
  return std::ranges::all_of(text, [](unsigned char c) { return c < 0xCC; });
}

/// The composed spelling, if it differs. UTF-8 orders by code point when its bytes are compared. A name that is not
/// UTF-8 is returned unchanged.
std::optional<std::string> recomposed(std::string_view text) {
  if (isSurelyComposed(text)) return std::nullopt;
  utf8proc_uint8_t* mapped = nullptr;
  const auto length =
      utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
                   &mapped, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(mapped, &std::free);
  if (length < 0) return std::nullopt;
  const std::string_view composed(reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(length));
  return composed != text ? std::optional<std::string>(composed) : std::nullopt;
}

/// Component by component, so that one that is not UTF-8 does not affect the others.
std::optional<std::string> recomposedPath(std::string_view path) {
  if (isSurelyComposed(path)) return std::nullopt;
  std::string composed;
  for (std::size_t at = 0; at < path.size();) {
    const auto end = std::min(path.find('/', at), path.size());
    const auto component = path.substr(at, end - at);
    composed += recomposed(component).value_or(std::string(component));
    if (end < path.size()) composed += '/';
    at = end + 1;
  }
  return composed != path ? std::optional(std::move(composed)) : std::nullopt;
}

/// Without the slashes and dots at the end that would make the system follow a link.
std::string withoutItsEnd(std::string path) {
  while (path.size() > 1 && (path.ends_with('/') || path.ends_with("/."))) path.pop_back();
  return path;
}

/// Without ".", ".." and doubled slashes; links are not resolved. A ".." after a link does not lead back to the link's
/// folder: if the shorter path does not name the same file, the path is returned unchanged.
std::string standardisedPath(const std::string& path, const struct stat& file) {
  std::string standardised = withoutItsEnd(fs::path(path).lexically_normal().native());
  struct stat other {};
  const bool isSame =
      ::lstat(standardised.c_str(), &other) == 0 && other.st_dev == file.st_dev && other.st_ino == file.st_ino;
  return isSame ? standardised : path;
}

/// The common start of the paths in a folder, composed once: composing it for each file would take too long.
struct Folder {
  /// REQUIRES: `path` ends in a slash.
  explicit Folder(std::string path) : prefix(std::move(path)), composed(recomposedPath(prefix)) {}

  std::string prefix;
  std::optional<std::string> composed;
};

/// A file that was found, with its sort key. Collections of a million files are usual: small, and quick to compare.
class Found {
 public:
  Found(const Folder& folder, std::string_view name, std::uint32_t given) : path_(folder.prefix), given_(given) {
    path_ += name;
    const auto composedName = recomposed(name);
    if (folder.composed || composedName) {
      std::string composed = folder.composed.value_or(folder.prefix);
      composed += composedName ? std::string_view(*composedName) : name;
      composed_ = std::make_unique<const std::string>(std::move(composed));
    }
    nameBegin_ = static_cast<std::uint32_t>(sortedPath().rfind('/') + 1);
    const auto sorted = sortedName();
    for (std::size_t i = 0; i < sizeof(beginning_); ++i)
      beginning_ = beginning_ << 8U | (i < sorted.size() ? static_cast<unsigned char>(sorted[i]) : 0U);
  }

  [[nodiscard]] const std::string& sortedPath() const { return composed_ ? *composed_ : path_; }
  [[nodiscard]] FileURL takeURL() { return FileURL(std::move(path_)); }

  /// By file name, then by path; of two spellings of one path the one that was given first comes first and is kept.
  [[nodiscard]] static bool isBefore(const Found& a, const Found& b) {
    if (a.beginning_ != b.beginning_) return a.beginning_ < b.beginning_;
    if (const int order = a.sortedName().compare(b.sortedName()); order != 0) return order < 0;
    if (const int order = a.sortedPath().compare(b.sortedPath()); order != 0) return order < 0;
    return a.given_ != b.given_ ? a.given_ < b.given_ : a.path_ < b.path_;
  }

 private:
  [[nodiscard]] std::string_view sortedName() const { return std::string_view(sortedPath()).substr(nameBegin_); }

  std::uint64_t beginning_ = 0;  ///< the name's first eight bytes as a number: decides most comparisons
  std::string path_;
  std::unique_ptr<const std::string> composed_;  ///< null where it is the path itself
  std::uint32_t nameBegin_ = 0;                  ///< in the sorted path
  std::uint32_t given_;                          ///< index of the given file or folder under which it was found
};

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

Directory openDirectory(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  Directory directory(descriptor >= 0 ? ::fdopendir(descriptor) : nullptr);
  if (!directory && descriptor >= 0) ::close(descriptor);
  return directory;
}

class Collector {
 public:
  explicit Collector(std::stop_token stop) : stop_(std::move(stop)) {}

  void addGiven(const FileURL& given) {
    ++given_;
    std::string path = withoutItsEnd(given.path());
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return;
    path = standardisedPath(path, status);
    if (S_ISDIR(status.st_mode)) {
      if (walked_.insert(path).second) walk(std::move(path));
    } else if (isPlaylistFile(FileURL(path))) {
      std::ranges::move(readPlaylistFile(FileURL(path)), std::back_inserter(listed_));
    } else if ((S_ISLNK(status.st_mode) || S_ISREG(status.st_mode)) && isSupportedAudioFile(FileURL(path))) {
      const auto nameBegin = path.rfind('/') + 1;
      found_.emplace_back(Folder(path.substr(0, nameBegin)), std::string_view(path).substr(nameBegin), given_);
    }
  }

  std::vector<FileURL> sorted() && {
    std::ranges::sort(found_, Found::isBefore);
    const auto repeated = std::ranges::unique(found_, {}, &Found::sortedPath);
    found_.erase(repeated.begin(), repeated.end());
    std::vector<FileURL> urls;
    urls.reserve(found_.size());
    for (auto& found : found_) urls.push_back(found.takeURL());
    if (!listed_.empty()) appendListed(urls);
    return urls;
  }

 private:
  /// Only one folder is open at a time, so that no depth exhausts the descriptors.
  void walk(std::string top) {
    std::vector<std::string> pending;
    pending.push_back(std::move(top));
    while (!pending.empty() && !stop_.stop_requested()) {
      const std::string folder = std::move(pending.back());
      pending.pop_back();
      read(folder, pending);
    }
  }

  void read(const std::string& path, std::vector<std::string>& pending) {
    const Directory directory = openDirectory(path);
    if (!directory) return;
    const Folder folder(path.ends_with('/') ? path : path + '/');
    while (const dirent* entry = ::readdir(directory.get())) {
      if (stop_.stop_requested()) return;
      const std::string name = entry->d_name;
      if (name.starts_with('.')) continue;
      const auto type = typeOfEntry(::dirfd(directory.get()), *entry);
      if (type == DT_DIR) pending.push_back(folder.prefix + name);
      if (type == DT_REG && isSupportedAudioFile(FileURL(name))) found_.emplace_back(folder, name, given_);
    }
  }

  [[nodiscard]] static FileURL composedURL(const FileURL& url) {
    auto path = recomposedPath(url.path());
    if (!path) return url;
    return url.excerpt() != nullptr ? FileURL(*std::move(path), *url.excerpt()) : FileURL(*std::move(path));
  }

  /// Entries of playlists keep their order, after everything else. A file whose tracks a sheet names is not listed as a
  /// whole as well.
  void appendListed(std::vector<FileURL>& urls) {
    std::set<FileURL> divided;
    for (const FileURL& url : listed_)
      if (url.excerpt() != nullptr) divided.insert(composedURL(url).file());
    if (!divided.empty()) std::erase_if(urls, [&](const FileURL& url) { return divided.contains(composedURL(url)); });
    std::set<FileURL> seen;
    for (const FileURL& url : urls) seen.insert(composedURL(url));
    for (FileURL& url : listed_) {
      const FileURL composed = composedURL(url);
      if (url.excerpt() == nullptr && divided.contains(composed)) continue;
      if (seen.insert(composed).second) urls.push_back(std::move(url));
    }
  }

  std::stop_token stop_;
  std::uint32_t given_ = 0;
  std::unordered_set<std::string> walked_;  ///< of the given folders: the same one is often given more than once
  std::vector<Found> found_;
  std::vector<FileURL> listed_;  ///< entries of the given playlists
};

}  // namespace

bool isSupportedAudioFile(const FileURL& url) {
  return audioFormatOf(asciiLowercased(url.pathExtension())) != nullptr;
}

std::vector<FileURL> collectSupportedAudioFiles(std::span<const FileURL> urls, std::stop_token stop) {
  Collector collector(std::move(stop));
  for (const auto& url : urls) collector.addGiven(url);
  return std::move(collector).sorted();
}

std::vector<FileURL> sortedSupportedAudioFiles(std::span<const FileURL> urls) {
  struct Named {
    std::string name;
    FileURL url;
  };
  std::vector<Named> chosen;
  std::unordered_set<std::string> seen;
  for (const auto& url : urls) {
    if (!isSupportedAudioFile(url) || !seen.insert(recomposedPath(url.path()).value_or(url.path())).second) continue;
    const std::string name(url.lastPathComponent());
    chosen.push_back({recomposed(name).value_or(name), url});
  }
  std::ranges::stable_sort(chosen, {}, &Named::name);
  std::vector<FileURL> sorted;
  sorted.reserve(chosen.size());
  for (auto& named : chosen) sorted.push_back(std::move(named.url));
  return sorted;
}

}  // namespace tolvane
