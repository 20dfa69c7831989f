#pragma once
// Finds a block near a frame of a FLAC stream without decoding. Any thread. A bounded number of bytes is read, however
// long the stream is.

#include <optional>

#include "platform/codecs/flac/FlacDecoder.h"

namespace tolvane {

/// Where something that looks like a block begins: shortly before `frame` (counted as blocks count). Decoding from
/// there shows whether it is one. Nothing if none is found after the first block.
[[nodiscard]] std::optional<FlacDecoder::Place> findFlacPlaceBefore(const ByteSource& source, const FlacStream& stream,
                                                                    std::uint64_t frame);

}  // namespace tolvane
