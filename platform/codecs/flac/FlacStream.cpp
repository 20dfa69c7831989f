#include "platform/codecs/flac/FlacStream.h"

#include <algorithm>

#include "platform/codecs/bytes/ByteOrder.h"
#include "platform/codecs/bytes/Tags.h"
#include "platform/codecs/flac/FlacBlockHeader.h"

namespace tolvane {

namespace {

void readStreamInfo(FlacStream& stream) {
  const std::span<const std::byte> info(stream.streamInfo);
  const auto smallestBlock = loadBig<std::uint16_t>(info, 0);
  const auto largestBlock = loadBig<std::uint16_t>(info, 2);
  const std::uint32_t largestBytes = loadBig<std::uint32_t>(info, 6) & 0xFFFFFF;
  const auto fields = loadBig<std::uint64_t>(info, 10);
  stream.sampleRate = static_cast<std::uint32_t>(fields >> 44U);
  stream.channels = (static_cast<std::uint32_t>(fields >> 41U) & 7U) + 1;
  stream.bits = (static_cast<std::uint32_t>(fields >> 36U) & 31U) + 1;
  stream.frames = fields & 0xF'FFFF'FFFF;
  stream.fixedBlockFrames = smallestBlock == largestBlock ? largestBlock : 0;
  // Without a stated maximum: the samples stored as they are, the difference of two channels with one more bit.
  const std::uint32_t channelBytes = largestBlock * (stream.bits + 8) / 8;
  stream.largestBlockBytes = largestBytes != 0 ? largestBytes : channelBytes * stream.channels;
}

}  // namespace

std::expected<FlacStream, OSStatus> readFlacStream(const ByteSource& source, std::uint64_t offset) {
  // A file has a handful of metadata blocks; one that consists of empty ones must not be walked to its end.
  constexpr int mostMetadataBlocks = 10'000;
  constexpr std::uint64_t signatureBytes = 4;
  FlacStream stream;
  bool hasInfo = false;
  bool isLast = false;
  offset += signatureBytes;
  for (int i = 0; !isLast; ++i) {
    std::array<std::byte, 4> header;
    if (i == mostMetadataBlocks) return std::unexpected(kAudioFileInvalidFileError);
    if (const OSStatus status = readExactly(source, offset, header); status != noErr) return std::unexpected(status);
    const std::uint32_t type = std::to_integer<std::uint32_t>(header[0]) & 0x7F;
    const std::uint32_t size = loadBig<std::uint32_t>(header, 0) & 0xFFFFFF;
    isLast = (header[0] & std::byte{0x80}) != std::byte{0};
    offset += header.size();
    if (type == 0 && !hasInfo) {
      if (size < FlacStream::streamInfoBytes) return std::unexpected(kAudioFileInvalidFileError);
      const OSStatus status = readExactly(source, offset, stream.streamInfo);
      if (status != noErr) return std::unexpected(status);
      hasInfo = true;
    }
    offset += size;
  }
  if (!hasInfo || offset > source.size()) return std::unexpected(kAudioFileInvalidFileError);
  readStreamInfo(stream);
  const auto end = startOfTrailingTags(source, offset);
  if (!end) return std::unexpected(end.error());
  stream.firstBlock = offset;
  stream.end = *end;
  std::array<std::byte, FlacBlockHeader::largestBytes> start;
  const auto count = source.readAt(offset, start);
  if (!count) return std::unexpected(count.error());
  const auto head = FlacBlockHeader::parse(std::span(start).first(*count), stream);
  if (head && head->hasFormatOf(stream)) stream.firstFrame = head->frame;
  return stream;
}

}  // namespace tolvane
