#pragma once
// The loudspeakers of an AIFF file's channels: by its channel layout chunk, else by the format's own assignment where
// that is unambiguous. Pure; any thread. A damaged chunk counts as absent.

#include "platform/ChannelLayout.h"
#include "platform/codecs/ByteSource.h"

namespace tolvane {

/// REQUIRES: the file's chunks begin behind its first 12 bytes.
[[nodiscard]] ChannelLayout readAiffChannels(const ByteSource& source, std::uint32_t channels);

}  // namespace tolvane
