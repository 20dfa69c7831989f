#pragma once
// The one table of the formats that the player plays and the playlists that it opens. A new format needs a row here and
// a reader in platform/codecs; the packaging and the README repeat names and content types, and a test compares them.
// Any thread.

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace tolvane {

struct AudioFormat {
  std::string_view name;                           ///< as shown in texts
  std::array<std::string_view, 2> extensions;      ///< lower case; unused ones are empty
  std::array<std::string_view, 3> contentTypes{};  ///< the most common one first; unused ones are empty
  bool isEncoded = false;                          ///< decoded to 32-bit float; false: the samples are used unchanged
  bool isLossless = true;
};

/// In the order in which they are shown.
inline constexpr std::array audioFormats{
    AudioFormat{.name = "WAV", .extensions = {"wav"}, .contentTypes = {"audio/x-wav", "audio/wav", "audio/vnd.wave"}},
    AudioFormat{.name = "AIFF", .extensions = {"aif", "aiff"}, .contentTypes = {"audio/x-aiff", "audio/aiff"}},
    AudioFormat{
        .name = "MP3", .extensions = {"mp3"}, .contentTypes = {"audio/mpeg"}, .isEncoded = true, .isLossless = false},
    AudioFormat{
        .name = "FLAC", .extensions = {"flac"}, .contentTypes = {"audio/flac", "audio/x-flac"}, .isEncoded = true},
};

/// Files that name such files, or parts of them (session/PlaylistFile).
struct PlaylistFormat {
  std::string_view name;                           ///< as texts have it
  std::array<std::string_view, 2> extensions;      ///< lower case; unused ones are empty
  std::array<std::string_view, 2> contentTypes{};  ///< the usual one first; unused ones are empty
  bool isSaved = false;                            ///< lists are also saved as it
};

/// In the order in which they are shown. Desktops use either content type of M3U for both its extensions; the second
/// one is also used for network streams, which are not files and are not played.
inline constexpr std::array playlistFormats{
    PlaylistFormat{.name = "M3U",
                   .extensions = {"m3u8", "m3u"},
                   .contentTypes = {"audio/x-mpegurl", "application/vnd.apple.mpegurl"},
                   .isSaved = true},
    PlaylistFormat{.name = "CUE", .extensions = {"cue"}, .contentTypes = {"application/x-cue"}},
};

/// "WAV, AIFF, FLAC and MP3": the names of all formats, the lossless ones first, with the conjunction before the last.
[[nodiscard]] std::string audioFormatNames(std::string_view conjunction = "and");

/// "WAV", "AIFF", "AIF" …: each name, followed by the extensions that differ from it, in upper case. Lossless formats
/// come first.
[[nodiscard]] std::vector<std::string> audioFormatLabels();

/// By the extension, in lower case; null: not a supported format.
[[nodiscard]] constexpr const AudioFormat* audioFormatOf(std::string_view extension) {
  if (extension.empty()) return nullptr;
  for (const AudioFormat& format : audioFormats)
    for (const std::string_view one : format.extensions)
      if (one == extension) return &format;
  return nullptr;
}

/// By the extension, in lower case; null: none of them.
[[nodiscard]] constexpr const PlaylistFormat* playlistFormatOf(std::string_view extension) {
  if (extension.empty()) return nullptr;
  for (const PlaylistFormat& format : playlistFormats)
    for (const std::string_view one : format.extensions)
      if (one == extension) return &format;
  return nullptr;
}

/// Calls `use(value)` for each entry of a column, over all rows.
template <typename Table, typename Column, typename Use>
constexpr void forEachIn(const Table& table, Column column, Use use) {
  for (const auto& format : table)
    for (const std::string_view value : format.*column)
      if (!value.empty()) use(value);
}
template <typename Column, typename Use>
constexpr void forEachOf(Column AudioFormat::*column, Use use) {
  forEachIn(audioFormats, column, use);
}
template <typename Column, typename Use>
constexpr void forEachOf(Column PlaylistFormat::*column, Use use) {
  forEachIn(playlistFormats, column, use);
}

}  // namespace tolvane
