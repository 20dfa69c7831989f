#pragma once
// The loudspeakers of a FLAC stream's channels. Pure; any thread. Reads the headers of the metadata blocks and the
// comments, never a picture, and takes damaged ones for absent.

#include "platform/ChannelLayout.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

/// By the mask among the comments (WAVEFORMATEXTENSIBLE_CHANNEL_MASK), else by FLAC's own assignment, which is the
/// usual one. Nothing is stated where a mask is there that cannot be read. REQUIRES: the stream's marker stands at
/// `offset`, with no other container around it.
[[nodiscard]] ChannelLayout readFlacChannels(const ByteSource& source, std::uint64_t offset, std::uint32_t channels);

}  // namespace tolvane
