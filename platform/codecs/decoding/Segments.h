#pragma once
// Decodes one stretch of a track with all cores: each decodes segments of it into their own range of the destination.
// Called on any thread, which takes part; the others are joined before it returns.

#include <cstdint>
#include <functional>
#include <span>

#include "platform/codecs/decoding/EncodedTrack.h"
#include "platform/codecs/decoding/StretchProgress.h"

namespace tolvane {

/// Threads that a decode within these limits uses, at least 1.
[[nodiscard]] unsigned workerCount(const SegmentLimits& limits);

/// How many segments a stretch of so many frames is split into; less than 2 when it is not worth it.
[[nodiscard]] std::uint64_t segmentCount(std::uint64_t frames, const SegmentLimits& limits);

/// Runs `work` on that many threads, this one included, or on fewer if no more can be created. An exception on any of
/// them is rethrown here when all have ended.
void runOnWorkers(unsigned workers, const std::function<void()>& work);

/// A track whose decoders prove by their samples that they continue as the decoder before them would have.
class OverlappingTrack {
 public:
  virtual ~OverlappingTrack() = default;

  /// Frames before a place that a decoder which begins there must reproduce.
  [[nodiscard]] virtual std::uint64_t proofFrames() const = 0;
  [[nodiscard]] virtual std::expected<std::unique_ptr<TrackDecoder>, OSStatus> decoderAt(std::uint64_t frame) const = 0;
};

/// Fills all of `destination` from the track's start with the samples that a serial decode gives. False when that could
/// not be done, for whatever reason: a serial decode then gives the true result, or the true error. `progress` is that
/// of the destination; it knows afterwards how much of it has been reported. REQUIRES: whole frames of `bytesPerFrame`.
[[nodiscard]] bool decodeInSegments(const OverlappingTrack& track, std::uint64_t bytesPerFrame,
                                    std::span<std::byte> destination, const SegmentLimits& limits,
                                    StretchProgress& progress);

/// As EncodedTrack::decodeStart() says, for such a track.
[[nodiscard]] DecodedStart decodeOverlappingStart(const OverlappingTrack& track, std::uint64_t bytesPerFrame,
                                                  std::span<std::byte> destination, const SegmentLimits& limits,
                                                  ReadingProgress& progress);

}  // namespace tolvane
