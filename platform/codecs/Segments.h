#pragma once
// Decodes one stretch of a track with all cores: each decodes segments of it into their own range of the destination.
// Called on any thread, which works along; the others are joined before it returns.

#include <cstdint>
#include <span>

#include "platform/codecs/EncodedTrack.h"

namespace tolvane {

struct SegmentLimits {
  unsigned workers = 0;                       ///< threads, the caller's own included; 0: as many as there are cores
  std::uint64_t smallestSegment = 1U << 18U;  ///< frames; less is not worth the seek
};

/// Fills all of `destination` from `firstFrame` on with the samples that a serial decode gives. False when that could
/// not be done, for whatever reason: a serial decode then gives the true result, or the true error. REQUIRES: a track
/// that is seekable; whole frames of `bytesPerFrame`.
[[nodiscard]] bool decodeInSegments(const EncodedTrack& track, std::uint64_t firstFrame, std::uint64_t bytesPerFrame,
                                    std::span<std::byte> destination, const SegmentLimits& limits);

}  // namespace tolvane
