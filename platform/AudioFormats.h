#pragma once
// The one table of the formats that the player plays and the playlists that it opens. A new format needs a row here and
// a reader in platform/codecs; the desktop entry and the metainfo repeat the content types, and a test compares them.

#include <array>
#include <cstdint>
#include <string_view>

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

/// Extensions of playlists (session/PlaylistFile). Lower case; in the order in which they are shown.
inline constexpr std::array<std::string_view, 2> playlistExtensions{"m3u8", "m3u"};
/// The most common one first. Desktops use either for both extensions; the second one is also used for network streams,
/// which are not files and are not played.
inline constexpr std::array<std::string_view, 2> playlistContentTypes{"audio/x-mpegurl",
                                                                      "application/vnd.apple.mpegurl"};

/// By the extension, in lower case; null: not a supported format.
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
