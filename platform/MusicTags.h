#pragma once
// What a file states about its music, and the picture that belongs to it. Values, and the contract for reading them:
// any thread, several at once. Blocks on the disk. Bad input gives nothing, never an exception or a crash.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// Texts are one line of UTF-8 without control characters, at most a few hundred characters; empty: not stated.
struct MusicTags {
  std::string title;
  std::string artist;  ///< several of them are separated by ", "
  std::string album;
  std::optional<std::int32_t> trackNumber;  ///< 1 … 9999

  bool operator==(const MusicTags&) const = default;
};

/// Of a track that a CUE sheet names: what the sheet states, and the file's where it states nothing. A title is that of
/// the file only where the track is the whole of it.
[[nodiscard]] MusicTags tagsOfTrack(MusicTags ofFile, const FileURL& url);

/// A picture as it was found: its first bytes identify its format; the rest is not verified.
struct Cover {
  enum class Format : std::uint8_t { jpeg, png };

  Format format = Format::jpeg;
  std::vector<std::byte> bytes;
  /// The picture as a file for other programs; nothing if it is embedded in a music file.
  std::optional<FileURL> file;

  bool operator==(const Cover&) const = default;
};

class MusicTagReader {
 public:
  virtual ~MusicTagReader() = default;

  /// As tagsOfTrack() has it; all empty where the file has no tags, or cannot be read, and no sheet states any.
  [[nodiscard]] virtual MusicTags tags(const FileURL& url, const std::stop_token& stop) const = 0;

  /// The front cover embedded in the file; else the cover picture of its folder.
  [[nodiscard]] virtual std::optional<Cover> cover(const FileURL& url, const std::stop_token& stop) const = 0;
};

}  // namespace tolvane
