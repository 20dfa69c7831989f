#pragma once
// The tags of a file by its content, whatever its name says. Any thread. Never throws, and never needs more than some
// tens of megabytes during a call.

#include "platform/MusicTags.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

[[nodiscard]] MusicTags readMusicTags(const ByteSource& source);
[[nodiscard]] std::optional<Cover> readEmbeddedCover(const ByteSource& source);

}  // namespace tolvane
