#pragma once
// An open file whose data is not linear PCM: a decoder reads from it, or a reader of PCM is about to refuse it. Threads
// as in AudioFile.

#include <memory>

#include "platform/AudioFileServices.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

class EncodedAudioFile final : public AudioFile {
 public:
  /// The source bit depth is the format's bits per channel: 0 if the format has no bit depth.
  EncodedAudioFile(std::shared_ptr<const ByteSource> source, const AudioStreamBasicDescription& format);

  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> dataFormat() const override;
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> audioDataByteCount() const override;
  [[nodiscard]] std::expected<std::int32_t, OSStatus> sourceBitDepth() const override;
  [[nodiscard]] ChannelLayout channelLayout() const override { return usualLayout(format_.mChannelsPerFrame); }
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> readBytes(std::uint64_t offset,
                                                                 std::span<std::byte> destination) override;

 private:
  const std::shared_ptr<const ByteSource> source_;
  const AudioStreamBasicDescription format_;
};

}  // namespace tolvane
