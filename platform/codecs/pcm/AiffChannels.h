#pragma once
// The loudspeakers of an AIFF file's channels: by its channel layout chunk, else by the format's own assignment where
// that is unambiguous. Pure; any thread. A damaged chunk counts as absent.

#include "platform/ChannelLayout.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

/// `offset`: of the file's 12-byte header in the source, in bytes. Where the chunks cannot all be read, nothing is
/// stated.
[[nodiscard]] ChannelLayout readAiffChannels(const ByteSource& source, std::uint32_t channels,
                                             std::uint64_t offset = 0);

}  // namespace tolvane
