#pragma once
// An open compressed file that is read forward as 32-bit float. Threads as in ExtAudioFile. A long read from the start
// is decoded with all cores. The result never depends on how many there are.

#include <memory>

#include "platform/AudioFileServices.h"
#include "platform/codecs/decoding/EncodedAudioFile.h"
#include "platform/codecs/decoding/EncodedTrack.h"

namespace tolvane {

class DecodedAudioFile final : public ExtAudioFile {
 public:
  /// `progress`, which may be null, outlives the file.
  DecodedAudioFile(std::shared_ptr<const ByteSource> source, std::unique_ptr<EncodedTrack> track,
                   const SegmentLimits& limits = {}, ReadingProgress* progress = nullptr);

  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> fileDataFormat() const override;
  [[nodiscard]] ChannelLayout channelLayout() const override { return track_->channelLayout(); }
  [[nodiscard]] std::optional<SampleSignature> signature() const override { return track_->signature(); }
  [[nodiscard]] OSStatus setClientDataFormat(const AudioStreamBasicDescription& format) override;
  [[nodiscard]] std::expected<std::int64_t, OSStatus> fileLengthFrames() const override;
  [[nodiscard]] std::optional<std::uint64_t> announcedFrames() const override { return track_->announcedFrames(); }
  /// A failure is permanent: later reads return it again.
  [[nodiscard]] std::expected<std::uint32_t, OSStatus> read(std::uint32_t frames,
                                                            std::span<std::byte> destination) override;
  [[nodiscard]] AudioFile* audioFile() override { return &file_; }

 private:
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> readStart(std::span<std::byte> destination);
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> readSerially(std::span<std::byte> destination);

  ReadingProgress ownProgress_;  ///< used if the caller has none
  ReadingProgress& progress_;
  const std::unique_ptr<EncodedTrack> track_;
  const SegmentLimits limits_;
  const std::uint64_t bytesPerFrame_;
  EncodedAudioFile file_;
  std::uint64_t position_ = 0;             ///< the next frame to read
  std::unique_ptr<TrackDecoder> decoder_;  ///< is at `position_`, or null
  OSStatus failure_ = noErr;
};

}  // namespace tolvane
