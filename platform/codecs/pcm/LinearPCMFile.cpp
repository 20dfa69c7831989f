#include "platform/codecs/pcm/LinearPCMFile.h"

#include <algorithm>
#include <utility>

namespace tolvane {

LinearPCMFile::LinearPCMFile(std::shared_ptr<const ByteSource> source, const PcmFileLayout& layout)
    : source_(std::move(source)), layout_(layout) {}

std::expected<AudioStreamBasicDescription, OSStatus> LinearPCMFile::dataFormat() const { return layout_.format; }

std::expected<std::uint64_t, OSStatus> LinearPCMFile::audioDataByteCount() const { return layout_.dataByteCount; }

std::expected<std::int32_t, OSStatus> LinearPCMFile::sourceBitDepth() const { return layout_.sourceBitDepth; }

std::expected<std::uint64_t, OSStatus> LinearPCMFile::readBytes(std::uint64_t offset,
                                                                std::span<std::byte> destination) {
  if (offset >= layout_.dataByteCount) return 0;
  const std::uint64_t count = std::min<std::uint64_t>(destination.size(), layout_.dataByteCount - offset);
  const auto read = source_->readAt(layout_.dataOffset + offset, destination.first(count));
  if (!read) return std::unexpected(read.error());
  return *read;
}

}  // namespace tolvane
