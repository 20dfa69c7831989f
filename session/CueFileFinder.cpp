#include "session/CueFileFinder.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/AudioFormats.h"
#include "platform/FileURL.h"
#include "session/AudioFileDiscovery.h"
#include "session/SheetText.h"

namespace tolvane {

namespace {

/// More than any sheet of one album names.
constexpr std::size_t mostFoldersSearched = 100;

bool isPlayedFile(const std::string& path) {
  std::error_code error;
  return isSupportedAudioFile(FileURL(path)) && std::filesystem::is_regular_file(path, error);
}

/// Less is better: lossless formats first, then as the table has them. REQUIRES: the extension of a format.
std::size_t rankOf(std::string_view extension) {
  const AudioFormat* const format = audioFormatOf(asciiLowercased(extension));
  return static_cast<std::size_t>(format - audioFormats.data()) + (format->isLossless ? 0 : audioFormats.size());
}

std::string inFolder(const std::string& folder, std::string_view name) {
  return (std::filesystem::path(folder) / name).lexically_normal().string();
}

}  // namespace

std::optional<std::string> CueFileFinder::find(const std::string& name) {
  const auto [known, isNew] = known_.try_emplace(name);
  if (!isNew) return known->second;
  known->second = search(name);
  if (!known->second && !isUTF8(name)) known->second = search(textFromUnknownEncoding(name));
  return known->second;
}

std::optional<std::string> CueFileFinder::search(std::string_view name) {
  for (const std::string& path : places(name)) {
    if (isPlayedFile(path)) return path;
    if (auto similar = similarFile(path)) return similar;
  }
  return std::nullopt;
}

/// Where a file of this name may lie, the most likely place first.
std::vector<std::string> CueFileFinder::places(std::string_view name) const {
  if (name.empty() || name.contains('\0')) return {};
  std::vector<std::string> paths{inFolder(folder_, name)};
  const auto add = [&paths](std::string path) {
    if (std::ranges::find(paths, path) == paths.end()) paths.push_back(std::move(path));
  };
  std::string slashed(name);
  std::ranges::replace(slashed, '\\', '/');
  add(inFolder(folder_, slashed));
  add(inFolder(folder_, std::string_view(slashed).substr(slashed.rfind('/') + 1)));
  return paths;
}

std::optional<std::string> CueFileFinder::similarFile(const std::string& path) {
  const FileURL wanted(path);
  const std::string folder = std::filesystem::path(path).parent_path().string();
  const std::string name = asciiLowercased(wanted.lastPathComponent());
  std::optional<std::string> best;
  std::size_t bestRank = 0;
  const FolderNames& names = namesIn(folder);
  const auto ofThisStem = names.find(asciiLowercased(wanted.stem()));
  if (ofThisStem == names.end()) return std::nullopt;
  for (const std::string& other : ofThisStem->second) {
    const FileURL file(inFolder(folder, other));
    if (!isPlayedFile(file.path())) continue;
    const std::size_t rank = asciiLowercased(other) == name ? 0 : 1 + rankOf(file.pathExtension());
    if (best && rank >= bestRank) continue;
    best = file.path();
    bestRank = rank;
  }
  return best;
}

/// Empty for folders beyond the bound.
const CueFileFinder::FolderNames& CueFileFinder::namesIn(const std::string& folder) {
  static const FolderNames none;
  if (const auto known = namesByFolder_.find(folder); known != namesByFolder_.end()) return known->second;
  if (namesByFolder_.size() >= mostFoldersSearched) return none;
  auto& names = namesByFolder_[folder];
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error);
       !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
    if (const FileURL file(entry->path().string()); isSupportedAudioFile(file))
      names[asciiLowercased(file.stem())].insert(std::string(file.lastPathComponent()));
  return names;
}

}  // namespace tolvane
