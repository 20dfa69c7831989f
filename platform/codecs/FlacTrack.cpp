#include "platform/codecs/FlacTrack.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/codecs/FlacChannels.h"
#include "platform/codecs/FlacDecoder.h"

namespace tolvane {

namespace {

constexpr std::uint64_t kPieceFrames = 64 * 1024;

/// Decodes and throws away up to `most` frames; how many there were.
std::expected<std::uint64_t, OSStatus> skipFrames(TrackDecoder& decoder, std::uint32_t channels, std::uint64_t most) {
  std::vector<std::byte> piece(kPieceFrames * channels * sizeof(float));
  std::uint64_t done = 0;
  while (done < most) {
    const std::uint64_t wanted = std::min(kPieceFrames, most - done);
    const auto count = decoder.decode(std::span(piece).first(wanted * channels * sizeof(float)));
    if (!count) return count;
    done += *count;
    if (*count < wanted) break;
  }
  return done;
}

}  // namespace

FlacTrack::FlacTrack(std::shared_ptr<const ByteSource> source, const FlacStream& stream)
    : source_(std::move(source)), stream_(stream), frameCount_(stream.announcedFrames) {
  format_.mSampleRate = stream_.sampleRate;
  format_.mFormatID = fourCharCode("flac");
  format_.mChannelsPerFrame = stream_.channels;
  format_.mBitsPerChannel = stream_.bits;
}

std::expected<std::unique_ptr<EncodedTrack>, OSStatus> FlacTrack::open(std::shared_ptr<const ByteSource> source,
                                                                       std::uint64_t offset, Container container) {
  FlacStream place;
  place.offset = offset;
  place.isInOgg = container == Container::ogg;
  const auto stream = FlacDecoder::describe(*source, place);
  if (!stream) return std::unexpected(stream.error());
  std::unique_ptr<FlacTrack> track(new FlacTrack(std::move(source), *stream));
  if (stream->announcedFrames == 0) {
    const auto decoder = track->decoderAt(0);
    // More frames than anyone can ask for need not be counted.
    constexpr std::uint64_t kMostFrames = std::uint64_t{1} << 33;
    track->frameCount_ = decoder ? skipFrames(**decoder, stream->channels, kMostFrames)
                                 : std::expected<std::uint64_t, OSStatus>(std::unexpected(decoder.error()));
  }
  // Seeking is exact only where the blocks are numbered from 0 and the length is announced.
  track->isSeekable_ = !place.isInOgg && stream->announcedFrames != 0 && stream->firstFrame == 0;
  return track;
}

ChannelLayout FlacTrack::channelLayout() const {
  // The comments of a stream inside Ogg are not looked at, and might say something else than the format's assignment.
  if (stream_.isInOgg) return usualLayout(stream_.channels);
  return readFlacChannels(*source_, stream_.offset, stream_.channels);
}

std::expected<std::unique_ptr<TrackDecoder>, OSStatus> FlacTrack::decoderAt(std::uint64_t frame) const {
  auto decoder = FlacDecoder::open(*source_, stream_, isSeekable_ ? frame : 0);
  if (decoder && !isSeekable_ && frame > 0) {
    const auto skipped = skipFrames(**decoder, stream_.channels, frame);
    if (!skipped) return std::unexpected(skipped.error());
  }
  return decoder;
}

}  // namespace tolvane
