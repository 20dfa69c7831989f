#pragma once
// A compressed track as both decoders of this folder show it to the code that reads it. EncodedTrack: any thread, its
// decoders: one thread each. Decoders never deliver samples of another rate, depth or number of channels.

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <span>

#include "platform/AudioFileServices.h"
#include "platform/AudioStatus.h"
#include "platform/AudioStreamBasicDescription.h"
#include "platform/ChannelLayout.h"
#include "platform/ReadingProgress.h"

namespace tolvane {

/// Decodes forward from one place, to interleaved native 32-bit float.
class TrackDecoder {
 public:
  virtual ~TrackDecoder() = default;

  /// The number of whole frames decoded; fewer than `destination` holds only at the end of what can be decoded. A track
  /// that continues after damaged data, or in another format, is an error.
  [[nodiscard]] virtual std::expected<std::uint64_t, OSStatus> decode(std::span<std::byte> destination) = 0;
};

/// How a decode with several threads is split.
struct SegmentLimits {
  unsigned workers = 0;                       ///< threads, the caller's own included; 0: as many as there are cores
  std::uint64_t smallestSegment = 1U << 18U;  ///< frames; a shorter segment is not worth the seek
};

/// The result of a decode from the start of a track.
struct DecodedStart {
  std::expected<std::uint64_t, OSStatus> frames = 0;  ///< as TrackDecoder::decode() reports them
  std::unique_ptr<TrackDecoder> decoder;              ///< is after these frames; null if a new one must be opened there
  std::uint64_t blocksTried = 0;                      ///< begun by all decoders together, if they count them
};

class EncodedTrack {
 public:
  virtual ~EncodedTrack() = default;

  /// Rate, channels and format id; bits a channel where the format has them.
  [[nodiscard]] virtual const AudioStreamBasicDescription& format() const = 0;
  /// As ExtAudioFile::channelLayout(). Formats of one or two channels have no other than the usual one.
  [[nodiscard]] virtual ChannelLayout channelLayout() const { return usualLayout(format().mChannelsPerFrame); }
  /// As ExtAudioFile::signature().
  [[nodiscard]] virtual std::optional<SampleSignature> signature() const { return std::nullopt; }
  /// A stream that does not announce its length may be too damaged to find it.
  [[nodiscard]] virtual std::expected<std::uint64_t, OSStatus> frameCount() const = 0;
  /// As ExtAudioFile::announcedFrames().
  [[nodiscard]] virtual std::optional<std::uint64_t> announcedFrames() const { return std::nullopt; }
  [[nodiscard]] virtual std::expected<std::unique_ptr<TrackDecoder>, OSStatus> decoderAt(std::uint64_t frame) const = 0;
  /// Decodes from frame 0 on, with several threads where that pays. The result, failures included, is that of one
  /// decoderAt(0) with one call of decode(), whatever the limits. Reports each frame to `progress` once. When that is
  /// cancelled the result is some failure. REQUIRES: no more frames than the track has.
  [[nodiscard]] virtual DecodedStart decodeStart(std::span<std::byte> destination, const SegmentLimits& limits,
                                                 ReadingProgress& progress) const = 0;
};

}  // namespace tolvane
