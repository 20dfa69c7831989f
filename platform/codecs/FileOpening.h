#pragma once
// Opens files as AudioFileServices promises, from any source of bytes. Any thread, several at once. Never looks at a
// name.

#include <memory>

#include "platform/AudioFileServices.h"
#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/decoding/EncodedTrack.h"

namespace tolvane {

/// As AudioFileServices::openAudioFile(). Known files of other kinds open too, and report their own format. Null for
/// `excerpt`: the whole file.
[[nodiscard]] std::expected<std::unique_ptr<AudioFile>, OSStatus> openLinearPCM(
    std::shared_ptr<const ByteSource> source, ReadingProgress* progress, const FileExcerpt* excerpt = nullptr);

/// As AudioFileServices::openExtAudioFile(). Null for `excerpt`: the whole file.
[[nodiscard]] std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openEncoded(
    std::shared_ptr<const ByteSource> source, const SegmentLimits& limits, ReadingProgress* progress,
    const FileExcerpt* excerpt = nullptr);

}  // namespace tolvane
