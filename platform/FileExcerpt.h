#pragma once
// The part of an audio file that a CUE sheet names as one of its tracks. A plain value; touches no disk.

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tolvane {

struct FileExcerpt {
  static constexpr std::uint32_t sectorsPerSecond = 75;

  // Places in the file, in sectors of 1/75 s.
  std::uint32_t first = 0;
  std::optional<std::uint32_t> end{};  ///< behind the last one, above `first`; nothing: the end of the file

  // What the sheet states of the track, as MusicTags has it.
  std::string title{};
  std::string artist{};
  std::string album{};
  std::optional<std::int32_t> trackNumber{};

  auto operator<=>(const FileExcerpt&) const = default;

  [[nodiscard]] bool isWholeFile() const { return first == 0 && !end; }
};

struct FrameRange {
  std::uint64_t first = 0;
  std::uint64_t end = 0;  ///< behind the last one; not below `first`

  bool operator==(const FrameRange&) const = default;

  [[nodiscard]] std::uint64_t count() const { return end - first; }
};

/// The frames of an excerpt of a file with `frames` frames of `rate` hertz. A sector that begins within a frame begins
/// with that frame, so that neighbours share none and leave none out. Empty where the file ends before the excerpt.
[[nodiscard]] FrameRange framesOf(const FileExcerpt& excerpt, double rate, std::uint64_t frames);

/// As bytes, for a stored record. Texts of more than 65,535 bytes are cut.
[[nodiscard]] std::string encodedExcerpt(const FileExcerpt& excerpt);

/// Nothing for bytes that encodedExcerpt() has not made, and for texts that no sheet gives: longer than 2,048 bytes, or
/// with control characters.
[[nodiscard]] std::optional<FileExcerpt> decodedExcerpt(std::string_view bytes);

}  // namespace tolvane
