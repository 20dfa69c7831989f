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

/// A picture as it was found: its first bytes are those of its format, the rest is as good as the file.
struct Cover {
  enum class Format : std::uint8_t { jpeg, png };

  Format format = Format::jpeg;
  std::vector<std::byte> bytes;
  /// Where other programs find the picture; nothing where it lies within a file of music.
  std::optional<FileURL> file;

  bool operator==(const Cover&) const = default;
};

class MusicTagReader {
 public:
  virtual ~MusicTagReader() = default;

  /// All empty where the file has no tags, or cannot be read.
  [[nodiscard]] virtual MusicTags tags(const FileURL& url, const std::stop_token& stop) const = 0;

  /// The front cover within the file; else the picture beside it that its folder has for all of its files.
  [[nodiscard]] virtual std::optional<Cover> cover(const FileURL& url, const std::stop_token& stop) const = 0;
};

}  // namespace tolvane
