#pragma once
// Finds the tags around the music: ID3v2 and APE before it, ID3v1, Lyrics3 and APE after it. Pure; any thread. Never
// reads the tags themselves, however large they are.

#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

/// Bytes of the tag that starts at `offset`, 0 when there is none. May claim more than the file holds.
[[nodiscard]] std::expected<std::uint64_t, OSStatus> tagSizeAt(const ByteSource& source, std::uint64_t offset);

/// The first byte that belongs to no leading tag; at most the size of the file.
[[nodiscard]] std::expected<std::uint64_t, OSStatus> endOfLeadingTags(const ByteSource& source);

/// The byte after the last one that belongs to no trailing tag; at least `begin`.
[[nodiscard]] std::expected<std::uint64_t, OSStatus> startOfTrailingTags(const ByteSource& source, std::uint64_t begin);

}  // namespace tolvane
