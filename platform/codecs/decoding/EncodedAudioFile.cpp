#include "platform/codecs/decoding/EncodedAudioFile.h"

#include <utility>

namespace tolvane {

EncodedAudioFile::EncodedAudioFile(std::shared_ptr<const ByteSource> source, const AudioStreamBasicDescription& format)
    : source_(std::move(source)), format_(format) {}

std::expected<AudioStreamBasicDescription, OSStatus> EncodedAudioFile::dataFormat() const { return format_; }

std::expected<std::uint64_t, OSStatus> EncodedAudioFile::audioDataByteCount() const { return source_->size(); }

std::expected<std::int32_t, OSStatus> EncodedAudioFile::sourceBitDepth() const {
  return static_cast<std::int32_t>(format_.mBitsPerChannel);
}

std::expected<std::uint64_t, OSStatus> EncodedAudioFile::readBytes(std::uint64_t offset,
                                                                   std::span<std::byte> destination) {
  const auto read = source_->readAt(offset, destination);
  if (!read) return std::unexpected(read.error());
  return *read;
}

}  // namespace tolvane
