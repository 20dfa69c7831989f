#pragma once
// Which files are playable, and all of them under the files and folders that the listener hands over. Any thread.
// Never fails and never follows a link into a folder; what cannot be read is left out.

#include <span>
#include <stop_token>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// By the extension of its name, in upper or lower case.
[[nodiscard]] bool isSupportedAudioFile(const FileURL& url);

/// The supported audio files among `urls` and, at any depth, inside its folders: standardised, without duplicates,
/// sorted by file name, then by path. Names are compared by code point after canonical composition (NFC). Hidden files
/// and folders inside a folder are left out; one that was handed over itself is taken.
/// A stop leaves out what was not found yet. Of a playlist that was handed over itself come the files that it names, in
/// its order, behind all others.
[[nodiscard]] std::vector<FileURL> collectSupportedAudioFiles(std::span<const FileURL> urls, std::stop_token stop = {});

/// For a choice of single files: the supported ones, sorted by file name alone, without duplicates and playlists.
[[nodiscard]] std::vector<FileURL> sortedSupportedAudioFiles(std::span<const FileURL> urls);

}  // namespace tolvane
