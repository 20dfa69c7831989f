#include "platform/codecs/decoding/DecodedAudioFile.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/codecs/decoding/StretchProgress.h"

namespace tolvane {

DecodedAudioFile::DecodedAudioFile(std::shared_ptr<const ByteSource> source, std::unique_ptr<EncodedTrack> track,
                                   const SegmentLimits& limits, ReadingProgress* progress)
    : progress_(progress != nullptr ? *progress : ownProgress_),
      track_(std::move(track)),
      limits_(limits),
      bytesPerFrame_(track_->format().mChannelsPerFrame * sizeof(float)),
      file_(std::move(source), track_->format()) {}

std::expected<AudioStreamBasicDescription, OSStatus> DecodedAudioFile::fileDataFormat() const {
  return track_->format();
}

OSStatus DecodedAudioFile::setClientDataFormat(const AudioStreamBasicDescription& format) {
  const bool isOnOffer = format == float32PCM(track_->format().mSampleRate, track_->format().mChannelsPerFrame);
  return isOnOffer ? noErr : kAudioFileUnsupportedDataFormatError;
}

std::expected<std::int64_t, OSStatus> DecodedAudioFile::fileLengthFrames() const {
  const auto frames = track_->frameCount();
  if (!frames) return std::unexpected(frames.error());
  return static_cast<std::int64_t>(*frames);
}

std::expected<std::uint64_t, OSStatus> DecodedAudioFile::readSerially(std::span<std::byte> destination) {
  if (decoder_ == nullptr) {
    auto opened = track_->decoderAt(position_);
    if (!opened) return std::unexpected(opened.error());
    decoder_ = std::move(*opened);
  }
  StretchProgress progress(progress_);
  return decodeStretch(*decoder_, destination, bytesPerFrame_, progress);
}

std::expected<std::uint64_t, OSStatus> DecodedAudioFile::readStart(std::span<std::byte> destination) {
  auto start = track_->decodeStart(destination, limits_, progress_);
  decoder_ = std::move(start.decoder);
  return start.frames;
}

std::expected<std::uint32_t, OSStatus> DecodedAudioFile::read(std::uint32_t frames, std::span<std::byte> destination) {
  if (progress_.isCancelled()) failure_ = userCanceledErr;
  if (failure_ != noErr) return std::unexpected(failure_);
  if (destination.size() / bytesPerFrame_ < frames) return std::unexpected(kAudio_ParamError);
  // The stream is too damaged to have a length: its decoder reports the error.
  const std::uint64_t end = track_->frameCount().value_or(std::numeric_limits<std::uint64_t>::max());
  const std::uint64_t count = position_ < end ? std::min<std::uint64_t>(frames, end - position_) : 0;
  if (count == 0) return 0;
  const auto wanted = destination.first(count * bytesPerFrame_);
  const auto done = position_ == 0 && decoder_ == nullptr ? readStart(wanted) : readSerially(wanted);
  if (!done) failure_ = done.error();
  // The decoder may have mistaken the cancelled read for damage.
  if (progress_.isCancelled()) failure_ = userCanceledErr;
  if (failure_ != noErr) return std::unexpected(failure_);
  position_ += *done;
  return static_cast<std::uint32_t>(*done);
}

}  // namespace tolvane
