#include "platform/codecs/bytes/ChunkWalker.h"

#include <algorithm>
#include <array>

#include "platform/codecs/bytes/ByteOrder.h"

namespace tolvane {

namespace {

constexpr std::size_t kHeaderSize = 8;

bool isPrintable(std::byte character) { return character >= std::byte{' '} && character <= std::byte{'~'}; }

}  // namespace

std::expected<std::optional<Chunk>, OSStatus> ChunkWalker::current() {
  if (chunksLeft_ == 0) return std::nullopt;
  --chunksLeft_;
  std::array<std::byte, kHeaderSize> header;
  const auto count = source_.readAt(position_, header);
  if (!count) return std::unexpected(count.error());
  if (*count < kHeaderSize) return std::nullopt;
  return Chunk{loadCode(header, 0), position_ + kHeaderSize, loadInteger<std::uint32_t>(header, 4, order_)};
}

OSStatus ChunkWalker::advancePast(const Chunk& chunk) {
  position_ = chunk.offset + availableBytes(chunk);
  if (chunk.size % 2 == 0 || position_ >= source_.size()) return noErr;
  // An odd chunk is followed by one byte of padding. Some writers omit it: then the next id is one byte earlier.
  const auto padded = idAt(position_ + 1);
  const auto unpadded = idAt(position_);
  if (!padded) return padded.error();
  if (!unpadded) return unpadded.error();
  if (*padded != 0 || *unpadded == 0) ++position_;
  return noErr;
}

std::uint64_t ChunkWalker::availableBytes(const Chunk& chunk) const {
  const std::uint64_t fileSize = source_.size();
  return chunk.offset >= fileSize ? 0 : std::min(chunk.size, fileSize - chunk.offset);
}

std::expected<FourCharCode, OSStatus> ChunkWalker::idAt(std::uint64_t offset) const {
  std::array<std::byte, 4> id;
  const auto count = source_.readAt(offset, id);
  if (!count) return std::unexpected(count.error());
  return *count == id.size() && std::ranges::all_of(id, isPrintable) ? loadCode(id, 0) : 0;
}

std::expected<bool, OSStatus> isSizeUnknown(const ByteSource& source, const Chunk& chunk, std::endian order) {
  if (chunk.size != 0) return false;
  ChunkWalker walker(source, chunk.offset, order);
  std::uint64_t end = chunk.offset;
  while (end < source.size()) {
    const auto next = walker.current();
    if (!next) return std::unexpected(next.error());
    const bool isChunk = *next && (*next)->hasPrintableID() && walker.availableBytes(**next) == (*next)->size;
    if (!isChunk) return true;
    end = (*next)->offset + (*next)->size + (*next)->size % 2;
    if (const OSStatus status = walker.advancePast(**next); status != noErr) return std::unexpected(status);
  }
  return false;
}

}  // namespace tolvane
