#pragma once
// Playlists as files. M3U and M3U8: one path or URI per line, in playing order. CUE sheets: session/CueSheet. Any thread.

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// Larger files are not treated as playlists.
inline constexpr std::size_t maximumPlaylistFileBytes = 64U << 20U;

/// By the extension of its name, in upper or lower case.
[[nodiscard]] bool isPlaylistFile(const FileURL& url);
/// Whether it has an extension that lists are saved with.
[[nodiscard]] bool isSavedPlaylistFile(const FileURL& url);

/// Of M3U: the supported audio files that the lines of `text` name, in their order, without duplicates: file URIs and
/// paths; relative paths start at `folder` (an absolute path). Pure: the files need not exist. Locations on other
/// machines, comments and other files are skipped.
[[nodiscard]] std::vector<FileURL> playlistEntries(std::string_view text, const std::string& folder);

/// The entries of a playlist file that exist; of a CUE sheet its tracks. In a name that does not exist, a backslash is
/// taken as a slash, as other systems write it. Empty if the file cannot be read. Reads the disk.
[[nodiscard]] std::vector<FileURL> readPlaylistFile(const FileURL& playlist);

/// The text of a playlist file in `folder`, in UTF-8. Files in or below that folder are named relative to it, so that
/// all can be moved together; others by their full paths. A file of known length, in seconds, has a line with its
/// length and title. playlistEntries() returns the same files. M3U8 cannot name a part of a file: in place of its parts
/// the whole file is listed, once, at the place of the first.
[[nodiscard]] std::string playlistText(std::span<const FileURL> files, const std::string& folder,
                                       const std::map<FileURL, double>& durations = {});

}  // namespace tolvane
