#pragma once
// The chunks of a WAV or AIFF file that are about the music: an ID3 tag, and texts of the format's own. Any thread.

#include <bit>

#include "platform/MusicTags.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

/// `offset` is that of "RIFF" or "FORM"; `order` is little-endian for the first and big-endian for the other.
[[nodiscard]] MusicTags chunkTags(const ByteSource& source, std::uint64_t offset, std::endian order);
[[nodiscard]] std::optional<Cover> chunkCover(const ByteSource& source, std::uint64_t offset, std::endian order);

}  // namespace tolvane
