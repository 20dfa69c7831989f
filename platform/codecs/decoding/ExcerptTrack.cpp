#include "platform/codecs/decoding/ExcerptTrack.h"

#include <limits>
#include <utility>

namespace tolvane {

ExcerptTrack::ExcerptTrack(std::unique_ptr<EncodedTrack> whole, const FileExcerpt& excerpt)
    : whole_(std::move(whole)), frameCount_(whole_->frameCount()) {
  const auto framesIn = [&](std::uint64_t frames) { return framesOf(excerpt, format().mSampleRate, frames); };
  const FrameRange stated = framesIn(std::numeric_limits<std::uint32_t>::max());
  first_ = frameCount_ ? framesIn(*frameCount_).first : stated.first;
  if (frameCount_) frameCount_ = framesIn(*frameCount_).count();
  if (excerpt.end)  // the next track begins there, even if the file ends before
    announcedFrames_ = stated.count();
  else if (const auto announced = whole_->announcedFrames())
    announcedFrames_ = framesIn(*announced).count();
}

std::expected<std::unique_ptr<TrackDecoder>, OSStatus> ExcerptTrack::decoderAt(std::uint64_t frame) const {
  return whole_->decoderAt(first_ + frame);
}

std::uint64_t ExcerptTrack::proofFrames() const {
  constexpr std::uint64_t enough = 4096;  // more than two packets of MP3, or half a usual block of FLAC
  return enough;
}

DecodedStart ExcerptTrack::decodeStart(std::span<std::byte> destination, const SegmentLimits& limits,
                                       ReadingProgress& progress) const {
  return decodeOverlappingStart(*this, format().mChannelsPerFrame * sizeof(float), destination, limits, progress);
}

}  // namespace tolvane
