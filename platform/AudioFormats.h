#pragma once
// The one table of the formats that the player plays, and the playlists that it opens. Another format is a row here and
// a reader in platform/codecs; the desktop entry and the metainfo name the content types once more, which a test
// compares.

#include <array>
#include <cstdint>
#include <string_view>

namespace tolvane {

struct AudioFormat {
  std::string_view name;                           ///< as texts have it
  std::array<std::string_view, 2> extensions;      ///< lower case; unused ones are empty
  std::array<std::string_view, 3> contentTypes{};  ///< the usual one first; unused ones are empty
  bool isEncoded = false;  ///< decoded to 32-bit float; else the samples are taken as they stand
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

/// Files that name such files (session/PlaylistFile). Lower case; in the order in which they are shown.
inline constexpr std::array<std::string_view, 2> playlistExtensions{"m3u8", "m3u"};
/// The usual one first. Desktops have either for both extensions: the second one is also that of streams over the
/// network, which are no files and are not played.
inline constexpr std::array<std::string_view, 2> playlistContentTypes{"audio/x-mpegurl",
                                                                      "application/vnd.apple.mpegurl"};

/// By the extension, in lower case; null: none of them.
[[nodiscard]] constexpr const AudioFormat* audioFormatOf(std::string_view extension) {
  if (extension.empty()) return nullptr;
  for (const AudioFormat& format : audioFormats)
    for (const std::string_view one : format.extensions)
      if (one == extension) return &format;
  return nullptr;
}

/// Calls `use(value)` for each entry of a column, over all rows.
template <typename Column, typename Use>
constexpr void forEachOf(Column AudioFormat::*column, Use use) {
  for (const AudioFormat& format : audioFormats)
    for (const std::string_view value : format.*column)
      if (!value.empty()) use(value);
}

}  // namespace tolvane
