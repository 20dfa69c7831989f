#pragma once
// A FLAC stream as a track, plain or inside Ogg, decoded by libFLAC. Threads as in EncodedTrack.

#include <memory>

#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/decoding/EncodedTrack.h"
#include "platform/codecs/flac/FlacStream.h"

namespace tolvane {

class FlacTrack final : public EncodedTrack {
 public:
  enum class Container : std::uint8_t { none, ogg };

  /// The stream starts at `offset`. Where it does not announce its length, its blocks are counted, without decoding.
  [[nodiscard]] static std::expected<std::unique_ptr<EncodedTrack>, OSStatus> open(
      std::shared_ptr<const ByteSource> source, std::uint64_t offset, Container container);

  [[nodiscard]] const AudioStreamBasicDescription& format() const override { return format_; }
  [[nodiscard]] ChannelLayout channelLayout() const override;
  /// None for a stream that was cut out of another one: its signature is that of the other.
  [[nodiscard]] std::optional<SampleSignature> signature() const override;
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> frameCount() const override { return frameCount_; }
  [[nodiscard]] std::optional<std::uint64_t> announcedFrames() const override;
  /// Decodes what lies shortly before; all that lies before where that does not lead to the frame.
  [[nodiscard]] std::expected<std::unique_ptr<TrackDecoder>, OSStatus> decoderAt(std::uint64_t frame) const override;
  [[nodiscard]] DecodedStart decodeStart(std::span<std::byte> destination, const SegmentLimits& limits,
                                         ReadingProgress& progress) const override;

 private:
  FlacTrack(std::shared_ptr<const ByteSource> source, std::uint64_t start, const FlacStream& stream);
  [[nodiscard]] std::unique_ptr<TrackDecoder> decoderFromNearby(std::uint64_t frame) const;

  const std::shared_ptr<const ByteSource> source_;  ///< of Ogg its payload
  const std::uint64_t start_;                       ///< offset of the stream's marker in the source, in bytes
  const FlacStream stream_;
  AudioStreamBasicDescription format_;
  std::expected<std::uint64_t, OSStatus> frameCount_;
};

}  // namespace tolvane
