#pragma once
// Which files are playable, and all of them under the files and folders that the user adds. Any thread. Never fails and
// never follows a link into a folder; what cannot be read is left out.

#include <span>
#include <stop_token>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// By the extension of its name, in upper or lower case.
[[nodiscard]] bool isSupportedAudioFile(const FileURL& url);

/// The supported audio files among `urls` and, at any depth, inside its folders: standardised, without duplicates,
/// sorted by file name, then by path. Names are compared by code point after canonical composition (NFC). Hidden files
/// and folders inside a folder are left out, but not those in `urls` themselves. A stop returns what was found so far.
/// A playlist in `urls` stands for the files that it names, in its order, after all others; a file whose tracks a CUE
/// sheet names is listed as these tracks only.
[[nodiscard]] std::vector<FileURL> collectSupportedAudioFiles(std::span<const FileURL> urls, std::stop_token stop = {});

/// For a choice of single files: the supported ones, sorted by file name alone, without duplicates and playlists.
[[nodiscard]] std::vector<FileURL> sortedSupportedAudioFiles(std::span<const FileURL> urls);

}  // namespace tolvane
