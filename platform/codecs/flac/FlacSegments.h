#pragma once
// Decodes a FLAC stream from its start with several threads. Called on any thread, which takes part; the others are
// joined before it returns. Never gives another result than a serial decode, on damaged streams either.

#include "platform/codecs/decoding/EncodedTrack.h"
#include "platform/codecs/flac/FlacStream.h"

namespace tolvane {

/// As EncodedTrack::decodeStart() says.
///
/// Each segment begins at what looks like the header of a block, and is decoded up to the frame with which the next one
/// begins. Where its decoder then stands at just that byte, the next segment goes on as this decoder itself would have:
/// FLAC blocks do not depend on each other. Where it does not, this decoder goes on through the next segment.
[[nodiscard]] DecodedStart decodeFlacInSegments(const ByteSource& source, const FlacStream& stream,
                                                std::span<std::byte> destination, const SegmentLimits& limits,
                                                ReadingProgress& progress);

}  // namespace tolvane
