#pragma once
// Tags made up byte by byte, with every oddity that a test asks for.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/platform/codecs/AudioBytes.h"

namespace tolvane::test {

using ByteVector = std::vector<std::byte>;

[[nodiscard]] ByteVector textBytes(std::string_view text);

/// Begins as a JPEG or PNG does, and is as long as that and `filling`.
[[nodiscard]] ByteVector jpegBytes(std::string_view filling);
[[nodiscard]] ByteVector pngBytes(std::string_view filling);

/// Seven bits a byte, as ID3v2 has its sizes.
[[nodiscard]] ByteVector synchSafeBytes(std::uint32_t value);

/// A frame of version 2.3 or 2.4, whose sizes agree below 128 bytes.
[[nodiscard]] ByteVector id3Frame(std::string_view id, const ByteVector& content, int version = 4, unsigned flags = 0);
/// Its content: an encoding (0: Latin-1, 1: UTF-16, 3: UTF-8) and the text as it is.
[[nodiscard]] ByteVector id3Text(int encoding, std::string_view text);
[[nodiscard]] ByteVector id3Picture(int kind, const ByteVector& picture);
/// Header and frames, with a size that may lie.
[[nodiscard]] ByteVector id3Tag(const ByteVector& frames, int version = 4, unsigned flags = 0,
                                std::int64_t claimed = -1);

[[nodiscard]] ByteVector joined(const std::vector<ByteVector>& parts);

struct FlacBlock {
  unsigned type;
  ByteVector content;
  std::int64_t claimedSize = -1;
};
/// "fLaC" and these blocks, the last of them marked as such.
[[nodiscard]] ByteVector flacWith(const std::vector<FlacBlock>& blocks);
[[nodiscard]] ByteVector vorbisComment(const std::vector<std::string>& fields, std::int64_t claimedCount = -1);
[[nodiscard]] ByteVector flacPicture(unsigned kind, const ByteVector& picture, std::int64_t claimedSize = -1);

/// INFO chunks of a WAV file.
[[nodiscard]] ByteVector infoList(const std::vector<std::pair<std::string, std::string>>& texts);

}  // namespace tolvane::test
