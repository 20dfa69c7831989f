#pragma once
// A part of a compressed track as a track of its own, with the samples of the whole. Threads as in EncodedTrack. What
// lies before and after it is decoded only where the format requires it.

#include <memory>

#include "platform/FileExcerpt.h"
#include "platform/codecs/decoding/EncodedTrack.h"
#include "platform/codecs/decoding/Segments.h"

namespace tolvane {

class ExcerptTrack final : public EncodedTrack, private OverlappingTrack {
 public:
  ExcerptTrack(std::unique_ptr<EncodedTrack> whole, const FileExcerpt& excerpt);

  [[nodiscard]] const AudioStreamBasicDescription& format() const override { return whole_->format(); }
  [[nodiscard]] ChannelLayout channelLayout() const override { return whole_->channelLayout(); }
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> frameCount() const override { return frameCount_; }
  [[nodiscard]] std::optional<std::uint64_t> announcedFrames() const override { return announcedFrames_; }
  [[nodiscard]] std::expected<std::unique_ptr<TrackDecoder>, OSStatus> decoderAt(std::uint64_t frame) const override;
  [[nodiscard]] DecodedStart decodeStart(std::span<std::byte> destination, const SegmentLimits& limits,
                                         ReadingProgress& progress) const override;

 private:
  [[nodiscard]] std::uint64_t proofFrames() const override;

  const std::unique_ptr<EncodedTrack> whole_;
  std::uint64_t first_ = 0;  ///< frame of the whole with which it begins
  std::expected<std::uint64_t, OSStatus> frameCount_;
  std::optional<std::uint64_t> announcedFrames_;
};

}  // namespace tolvane
