#pragma once
// An open file of linear PCM, delivered byte for byte. Threads as in AudioFile. Never looks at a sample.

#include <memory>

#include "platform/AudioFileServices.h"
#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/pcm/PcmFileLayout.h"

namespace tolvane {

/// Also holds files in the same containers whose data is not linear PCM; their format id shows it.
class LinearPCMFile final : public AudioFile {
 public:
  LinearPCMFile(std::shared_ptr<const ByteSource> source, const PcmFileLayout& layout);

  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> dataFormat() const override;
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> audioDataByteCount() const override;
  [[nodiscard]] std::optional<std::uint64_t> announcedByteCount() const override { return layout_.announcedByteCount; }
  [[nodiscard]] std::expected<std::int32_t, OSStatus> sourceBitDepth() const override;
  [[nodiscard]] ChannelLayout channelLayout() const override { return layout_.channels; }
  [[nodiscard]] std::expected<std::uint64_t, OSStatus> readBytes(std::uint64_t offset,
                                                                 std::span<std::byte> destination) override;

 private:
  const std::shared_ptr<const ByteSource> source_;
  const PcmFileLayout layout_;
};

}  // namespace tolvane
