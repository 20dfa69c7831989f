#pragma once
// MPEG audio as a track, decoded by libmpg123. Threads as in EncodedTrack. libmpg123 sees only the packets of the
// stream, so that it never has to search through tags and junk, and never resamples.

#include <memory>

#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/decoding/EncodedTrack.h"
#include "platform/codecs/mp3/MpegStream.h"
#include "platform/codecs/decoding/Segments.h"

namespace tolvane {

class Mp3Track final : public EncodedTrack, private OverlappingTrack {
 public:
  /// REQUIRES: `firstPacket` comes from findMpegAudio().
  [[nodiscard]] static std::expected<std::unique_ptr<EncodedTrack>, OSStatus> open(
      std::shared_ptr<const ByteSource> source, std::uint64_t firstPacket);

  [[nodiscard]] const AudioStreamBasicDescription& format() const override { return format_; }
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> frameCount() const override { return stream_.frameCount(); }
  [[nodiscard]] std::optional<std::uint64_t> announcedFrames() const override { return stream_.announcedFrames; }
  [[nodiscard]] std::expected<std::unique_ptr<TrackDecoder>, OSStatus> decoderAt(std::uint64_t frame) const override;
  [[nodiscard]] DecodedStart decodeStart(std::span<std::byte> destination, const SegmentLimits& limits,
                                         ReadingProgress& progress) const override;

 private:
  [[nodiscard]] std::uint64_t proofFrames() const override { return 2 * stream_.header.framesPerPacket(); }
  Mp3Track(std::shared_ptr<const ByteSource> source, MpegStream stream);

  const std::shared_ptr<const ByteSource> source_;
  const MpegStream stream_;
  AudioStreamBasicDescription format_;
};

}  // namespace tolvane
