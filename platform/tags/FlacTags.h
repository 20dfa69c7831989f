#pragma once
// The metadata blocks of a FLAC file: comments and pictures. Reads the blocks' headers, of the comments at most 1 MiB,
// and one picture at a time. Any thread.

#include "platform/MusicTags.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

/// `offset` is that of "fLaC".
[[nodiscard]] MusicTags flacTags(const ByteSource& source, std::uint64_t offset);
[[nodiscard]] std::optional<Cover> flacCover(const ByteSource& source, std::uint64_t offset);

}  // namespace tolvane
