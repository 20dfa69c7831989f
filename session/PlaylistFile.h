#pragma once
// Playlists as files (M3U, M3U8): a path or URI a line, in the order in which they play. Any thread.

#include <cstddef>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// Larger ones are no playlists.
inline constexpr std::size_t maximumPlaylistFileBytes = 64U << 20U;

/// By the extension of its name, in upper or lower case.
[[nodiscard]] bool isPlaylistFile(const FileURL& url);

/// The supported audio files that the lines of `text` name, in their order, repeated ones left out: file URIs, and
/// paths, those relative to `folder` (an absolute path). Pure: none of them need exist. Links to other machines,
/// comments and other files are passed over.
[[nodiscard]] std::vector<FileURL> playlistEntries(std::string_view text, const std::string& folder);

/// The entries of a file that exist. A backslash in a name that does not exist stands for a slash, as other systems
/// write it. Empty for what cannot be read. Asks the disk.
[[nodiscard]] std::vector<FileURL> readPlaylistFile(const FileURL& playlist);

/// What to write into a file in `folder`, in UTF-8: what lies in that folder or below relative to it, so that both can
/// be moved together; other files by their paths. Files whose length is known, in seconds, have a line with it and
/// their title. playlistEntries() gives the same files back.
[[nodiscard]] std::string playlistText(std::span<const FileURL> files, const std::string& folder,
                                       const std::map<FileURL, double>& durations = {});

}  // namespace tolvane
