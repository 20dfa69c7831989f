#include "platform/codecs/mp3/Mp3Track.h"

#include <utility>

#include "platform/codecs/mp3/Mp3Decoder.h"

namespace tolvane {

Mp3Track::Mp3Track(std::shared_ptr<const ByteSource> source, MpegStream stream)
    : source_(std::move(source)), stream_(std::move(stream)) {
  format_.mSampleRate = stream_.header.sampleRate;
  format_.mFormatID = fourCharCode(".mp3");
  format_.mFramesPerPacket = stream_.header.framesPerPacket();
  format_.mChannelsPerFrame = stream_.header.channels;
}

std::expected<std::unique_ptr<EncodedTrack>, OSStatus> Mp3Track::open(std::shared_ptr<const ByteSource> source,
                                                                      std::uint64_t firstPacket) {
  auto stream = readMpegStream(*source, firstPacket);
  if (!stream) return std::unexpected(stream.error());
  return std::unique_ptr<EncodedTrack>(new Mp3Track(std::move(source), std::move(*stream)));
}

std::expected<std::unique_ptr<TrackDecoder>, OSStatus> Mp3Track::decoderAt(std::uint64_t frame) const {
  return Mp3Decoder::open(*source_, stream_, frame);
}

DecodedStart Mp3Track::decodeStart(std::span<std::byte> destination, const SegmentLimits& limits,
                                   ReadingProgress& progress) const {
  return decodeOverlappingStart(*this, format_.mChannelsPerFrame * sizeof(float), destination, limits, progress);
}

}  // namespace tolvane
