#include "session/AudioFileDiscovery.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_set>

namespace tolvane {

namespace {

namespace fs = std::filesystem;

/// UTF-8 orders by code point when its bytes are compared. A name that is not UTF-8 counts as it is.
std::string canonicallyComposed(std::string_view text) {
  if (std::ranges::all_of(text, [](unsigned char c) { return c < 0x80; })) return std::string(text);
  utf8proc_uint8_t* mapped = nullptr;
  const auto length =
      utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()), static_cast<utf8proc_ssize_t>(text.size()),
                   &mapped, static_cast<utf8proc_option_t>(UTF8PROC_STABLE | UTF8PROC_COMPOSE));
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(mapped, &std::free);
  if (length < 0) return std::string(text);
  return {reinterpret_cast<const char*>(mapped), static_cast<std::size_t>(length)};
}

/// Without "." and "..", doubled slashes and slashes at the end. Looks at no disk, so links stay links.
std::string standardisedPath(const std::string& path) {
  std::string standardised = fs::path(path).lexically_normal().native();
  while (standardised.size() > 1 && standardised.ends_with('/')) standardised.pop_back();
  return standardised;
}

class Collector {
 public:
  explicit Collector(std::stop_token stop) : stop_(std::move(stop)) {}

  void addGiven(const FileURL& given) {
    // A slash at the end would make the system follow a link.
    const fs::path path = standardisedPath(given.path());
    std::error_code error;
    const auto status = fs::symlink_status(path, error);
    if (error) return;
    if (fs::is_directory(status)) {
      walk(path);
    } else if (fs::is_symlink(status) || fs::is_regular_file(status)) {
      addCandidate(path.native());
    }
  }

  std::vector<FileURL> sorted() && {
    std::ranges::stable_sort(
        found_, [](const Found& a, const Found& b) { return a.name != b.name ? a.name < b.name : a.path < b.path; });
    std::vector<FileURL> urls;
    urls.reserve(found_.size());
    for (auto& found : found_) urls.push_back(std::move(found.url));
    return urls;
  }

 private:
  struct Found {
    std::string name;  ///< composed, to sort by
    std::string path;  ///< composed, to sort by
    FileURL url;
  };

  /// One folder is open at a time, so that no depth exhausts the descriptors.
  void walk(const fs::path& top) {
    std::vector<fs::path> pending{top};
    while (!pending.empty() && !stop_.stop_requested()) {
      const fs::path folder = std::move(pending.back());
      pending.pop_back();
      std::error_code error;
      std::vector<std::string> files;
      for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (entry->path().filename().native().starts_with('.')) continue;
        std::error_code unreadable;
        const auto status = entry->symlink_status(unreadable);
        if (unreadable) continue;
        if (fs::is_directory(status)) pending.push_back(entry->path());
        if (fs::is_regular_file(status)) files.push_back(entry->path().native());
      }
      // The system lists names in no order; of two spellings of one name the same must win every time.
      std::ranges::sort(files);
      for (auto& file : files) addCandidate(std::move(file));
    }
  }

  void addCandidate(std::string path) {
    FileURL url(std::move(path));
    if (!isSupportedAudioFile(url)) return;
    std::string composed = canonicallyComposed(url.path());
    if (!seen_.insert(composed).second) return;
    std::string name = canonicallyComposed(url.lastPathComponent());
    found_.push_back({std::move(name), std::move(composed), std::move(url)});
  }

  std::stop_token stop_;
  std::unordered_set<std::string> seen_;
  std::vector<Found> found_;
};

}  // namespace

bool isSupportedAudioFile(const FileURL& url) {
  return std::ranges::find(supportedAudioFileExtensions, asciiLowercased(url.pathExtension())) !=
         supportedAudioFileExtensions.end();
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
    if (!isSupportedAudioFile(url) || !seen.insert(canonicallyComposed(url.path())).second) continue;
    chosen.push_back({canonicallyComposed(url.lastPathComponent()), url});
  }
  std::ranges::stable_sort(chosen, {}, &Named::name);
  std::vector<FileURL> sorted;
  sorted.reserve(chosen.size());
  for (auto& named : chosen) sorted.push_back(std::move(named.url));
  return sorted;
}

}  // namespace tolvane
