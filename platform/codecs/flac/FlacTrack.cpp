#include "platform/codecs/flac/FlacTrack.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "platform/codecs/flac/FlacChannels.h"
#include "platform/codecs/flac/FlacDecoder.h"
#include "platform/codecs/flac/FlacScanner.h"
#include "platform/codecs/flac/FlacSeek.h"
#include "platform/codecs/flac/FlacSegments.h"
#include "platform/codecs/flac/OggPayload.h"

namespace tolvane {

namespace {

/// Decodes and discards so many frames, or as many as there are. Returns the number that is left.
std::expected<std::uint64_t, OSStatus> skipFrames(TrackDecoder& decoder, std::uint32_t channels, std::uint64_t count) {
  constexpr std::uint64_t pieceFrames = 64 * 1024;
  std::vector<std::byte> piece(pieceFrames * channels * sizeof(float));
  while (count > 0) {
    const std::uint64_t wanted = std::min(pieceFrames, count);
    const auto done = decoder.decode(std::span(piece).first(wanted * channels * sizeof(float)));
    if (!done) return std::unexpected(done.error());
    count -= *done;
    if (*done < wanted) break;
  }
  return count;
}

}  // namespace

FlacTrack::FlacTrack(std::shared_ptr<const ByteSource> source, std::uint64_t start, const FlacStream& stream)
    : source_(std::move(source)), start_(start), stream_(stream), frameCount_(stream.frames) {
  format_.mSampleRate = stream_.sampleRate;
  format_.mFormatID = fourCharCode("flac");
  format_.mChannelsPerFrame = stream_.channels;
  format_.mBitsPerChannel = stream_.bits;
}

std::expected<std::unique_ptr<EncodedTrack>, OSStatus> FlacTrack::open(std::shared_ptr<const ByteSource> source,
                                                                       std::uint64_t offset, Container container) {
  if (container == Container::ogg) {
    auto payload = OggPayload::open(std::move(source), offset);
    if (!payload) return std::unexpected(payload.error());
    source = std::move(*payload);
    offset = OggPayload::flacOffset;
  }
  const auto stream = readFlacStream(*source, offset);
  if (!stream) return std::unexpected(stream.error());
  std::unique_ptr<FlacTrack> track(new FlacTrack(std::move(source), offset, *stream));
  if (stream->frames == 0) {
    // A decoded track has at most so many bytes: a longer one need not be counted to its end.
    constexpr std::uint64_t mostBytes = std::numeric_limits<std::uint32_t>::max();
    track->frameCount_ =
        FlacScanner(*track->source_, track->stream_).countFrames(mostBytes / (stream->channels * sizeof(float)) + 1);
  }
  return track;
}

ChannelLayout FlacTrack::channelLayout() const { return readFlacChannels(*source_, start_, stream_.channels); }

std::optional<std::uint64_t> FlacTrack::announcedFrames() const {
  return stream_.frames != 0 && stream_.firstFrame == 0 ? std::optional(stream_.frames) : std::nullopt;
}

std::optional<SampleSignature> FlacTrack::signature() const {
  SampleSignature signature{};
  static_assert(FlacStream::streamInfoBytes >= signature.size());
  std::ranges::copy(std::span(stream_.streamInfo).last(signature.size()), signature.begin());
  const bool isStored = signature != SampleSignature{};
  return isStored && stream_.firstFrame == 0 ? std::optional(signature) : std::nullopt;
}

std::expected<std::unique_ptr<TrackDecoder>, OSStatus> FlacTrack::decoderAt(std::uint64_t frame) const {
  if (frame > 0) {
    if (auto decoder = decoderFromNearby(frame)) return decoder;
  }
  auto decoder = FlacDecoder::open(*source_, stream_, {stream_.firstBlock, stream_.firstFrame});
  if (!decoder) return std::unexpected(decoder.error());
  if (frame > 0) {
    const auto left = skipFrames(**decoder, stream_.channels, frame);
    if (!left) return std::unexpected(left.error());
  }
  return std::move(*decoder);
}

/// Null where no block is found shortly before the frame, or what was taken for one is none: the number of the frame
/// is then only known from the start.
std::unique_ptr<TrackDecoder> FlacTrack::decoderFromNearby(std::uint64_t frame) const {
  const std::uint64_t number = stream_.firstFrame + frame;
  const auto place = findFlacPlaceBefore(*source_, stream_, number);
  if (!place) return nullptr;
  auto decoder = FlacDecoder::open(*source_, stream_, *place);
  if (!decoder) return nullptr;
  const bool isThere = skipFrames(**decoder, stream_.channels, number - place->frame) == 0;
  return isThere ? std::move(*decoder) : nullptr;
}

DecodedStart FlacTrack::decodeStart(std::span<std::byte> destination, const SegmentLimits& limits,
                                    ReadingProgress& progress) const {
  return decodeFlacInSegments(*source_, stream_, destination, limits, progress);
}

}  // namespace tolvane
