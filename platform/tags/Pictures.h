#pragma once
// Pictures within tags: which of them is the cover, and what it is. Pure; any thread.

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "platform/MusicTags.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

/// Larger ones are no covers.
inline constexpr std::size_t maximumPictureBytes = 16U << 20U;

/// The kinds that ID3v2 and FLAC know, of which there are 21.
inline constexpr int frontCover = 3;

/// Nothing for what begins neither as JPEG nor as PNG.
[[nodiscard]] std::optional<Cover::Format> pictureFormat(std::span<const std::byte> bytes);

[[nodiscard]] std::optional<Cover> coverOf(std::vector<std::byte> bytes);

/// Bytes of a source, at most `most`; fewer where there are fewer, none after an error.
[[nodiscard]] std::vector<std::byte> readBytes(const ByteSource& source, std::uint64_t offset, std::uint64_t most);

}  // namespace tolvane
