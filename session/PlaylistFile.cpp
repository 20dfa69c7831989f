#include "session/PlaylistFile.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "platform/AudioFormats.h"
#include "platform/FileURI.h"
#include "session/AudioFileDiscovery.h"
#include "session/CueSheet.h"
#include "session/PlaylistTrack.h"
#include "session/SheetText.h"

namespace tolvane {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view line) {
  const auto begin = line.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return line.substr(begin, line.find_last_not_of(blanks) - begin + 1);
}

/// Nothing for a comment and for a location on another machine.
std::optional<FileURL> entryOf(std::string_view line, const std::string& folder) {
  if (line.empty() || line.starts_with('#')) return std::nullopt;
  if (const auto url = fileURLFromURI(line)) return url;
  if (line.find("://") != std::string_view::npos && !line.starts_with('/') && !line.starts_with('.'))
    return std::nullopt;
  if (line.find('\0') != std::string_view::npos) return std::nullopt;
  return FileURL((fs::path(folder) / line).lexically_normal().string());
}

/// Whether a path, or the end of one, could not be written as a line and read back unchanged.
bool needsURI(std::string_view path) {
  return path.find_first_of("\r\n") != std::string_view::npos || path != trimmed(path) || !isUTF8(path) ||
         fs::path(path).lexically_normal() != path;  // ".." after a link does not lead back to the link's folder
}

std::string entryLine(const FileURL& file, const std::string& inside) {
  std::string line = file.path();
  if (line.starts_with(inside)) line.erase(0, inside.size());
  if (needsURI(line)) return file.absoluteString();
  const bool readsAsAnother = line.starts_with('#') || fileURLFromURI(line) || line.find("://") != std::string::npos;
  return !line.starts_with('/') && readsAsAnother ? "./" + line : line;
}

/// The track's title in one line; empty if it is not valid text.
std::string titleOf(const FileURL& file) {
  const PlaylistTrack track{.url = file};
  const std::string_view named = track.title();
  std::string title(isUTF8(named) ? named : std::string_view());
  std::ranges::replace_if(
      title, [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  return title;
}

std::string lengthLine(const FileURL& file, double seconds) {
  return "#EXTINF:" + std::to_string(std::llround(seconds)) + ',' + titleOf(file);
}

bool exists(const std::string& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

/// Empty for what cannot be read, or is larger.
std::string textOfFile(const FileURL& url, std::size_t mostBytes) {
  std::error_code error;
  if (!fs::is_regular_file(url.path(), error)) return {};  // a pipe would not end
  const auto size = fs::file_size(url.path(), error);
  if (error || size > mostBytes) return {};
  std::ifstream file(url.path(), std::ios::binary);
  std::string text(size, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad()) return {};
  text.resize(static_cast<std::size_t>(file.gcount()));
  return text;
}

/// What stands in a list as M3U8: whole files, and instead of the first part of a file the whole of it.
std::vector<FileURL> wholeFiles(std::span<const FileURL> urls) {
  std::vector<FileURL> files;
  std::unordered_set<std::string> divided;
  for (const FileURL& url : urls) {
    if (!url.isPartOfFile())
      files.push_back(url);
    else if (divided.insert(url.path()).second)
      files.push_back(url.file());
  }
  return files;
}

}  // namespace

bool isPlaylistFile(const FileURL& url) { return playlistFormatOf(asciiLowercased(url.pathExtension())) != nullptr; }

bool isSavedPlaylistFile(const FileURL& url) {
  const PlaylistFormat* const format = playlistFormatOf(asciiLowercased(url.pathExtension()));
  return format != nullptr && format->isSaved;
}

std::vector<FileURL> playlistEntries(std::string_view text, const std::string& folder) {
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  std::vector<FileURL> entries;
  std::unordered_set<std::string> seen;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    auto entry = entryOf(trimmed(text.substr(0, end)), folder);
    if (entry && isSupportedAudioFile(*entry) && seen.insert(entry->path()).second)
      entries.push_back(*std::move(entry));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return entries;
}

std::vector<FileURL> readPlaylistFile(const FileURL& playlist) {
  const bool isSheet = !isSavedPlaylistFile(playlist);
  const auto text = textOfFile(playlist, isSheet ? maximumCueSheetBytes : maximumPlaylistFileBytes);
  const std::string folder = fs::path(playlist.path()).parent_path().string();
  if (isSheet) return cueSheetEntries(text, folder);
  std::vector<FileURL> found;
  std::unordered_set<std::string> seen;
  for (FileURL& entry : playlistEntries(text, folder)) {
    std::string path = entry.path();
    if (!exists(path)) std::ranges::replace(path, '\\', '/');
    if (exists(path) && seen.insert(path).second) found.emplace_back(std::move(path));
  }
  return found;
}

std::string playlistText(std::span<const FileURL> files, const std::string& folder,
                         const std::map<FileURL, double>& durations) {
  const std::string inside = folder.ends_with('/') ? folder : folder + '/';
  std::string text = "#EXTM3U\n";
  for (const FileURL& file : wholeFiles(files)) {
    if (const auto known = durations.find(file); known != durations.end())
      text += lengthLine(file, known->second) + '\n';
    text += entryLine(file, inside) + '\n';
  }
  return text;
}

}  // namespace tolvane
