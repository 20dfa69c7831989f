#pragma once
// Walks the chunks of a RIFF or FORM file in order. Any thread, one walker each. Reads only the chunks' headers, always
// moves forward and gives up after a bounded number of them, whatever sizes they claim.

#include <bit>
#include <optional>

#include "platform/FourCharCode.h"
#include "platform/codecs/bytes/ByteSource.h"

namespace tolvane {

struct Chunk {
  FourCharCode id = 0;
  std::uint64_t offset = 0;  ///< of its content
  std::uint64_t size = 0;    ///< bytes of content, as its header claims

  [[nodiscard]] constexpr bool hasPrintableID() const {
    for (std::uint32_t characters = id, i = 0; i < 4; ++i, characters >>= 8) {
      if ((characters & 0xFF) < ' ' || (characters & 0xFF) > '~') return false;
    }
    return true;
  }
};

class ChunkWalker {
 public:
  ChunkWalker(const ByteSource& source, std::uint64_t offset, std::endian order)
      : source_(source), order_(order), position_(offset) {}

  /// The chunk at the present place; nothing at the end of the file, or when this cannot be a file of chunks.
  [[nodiscard]] std::expected<std::optional<Chunk>, OSStatus> current();

  /// False after current() has stopped at the limit of chunks: more of them may follow.
  [[nodiscard]] bool hasReachedEnd() const { return chunksLeft_ > 0; }

  /// Moves past the chunk, whose size the caller may have corrected.
  [[nodiscard]] OSStatus advancePast(const Chunk& chunk);

  /// Bytes of the chunk's content that the file really holds.
  [[nodiscard]] std::uint64_t availableBytes(const Chunk& chunk) const;

 private:
  /// The id of a chunk at this offset, or 0 when it is not four printable characters.
  [[nodiscard]] std::expected<FourCharCode, OSStatus> idAt(std::uint64_t offset) const;

  const ByteSource& source_;
  const std::endian order_;
  std::uint64_t position_;
  int chunksLeft_ = 10'000;
};

/// True for a chunk of size 0 that is followed by anything but chunks, up to the end of the file: a program that writes
/// into a pipe cannot go back to state the size.
[[nodiscard]] std::expected<bool, OSStatus> isSizeUnknown(const ByteSource& source, const Chunk& chunk,
                                                          std::endian order);

}  // namespace tolvane
