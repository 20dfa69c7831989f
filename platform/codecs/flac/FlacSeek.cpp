#include "platform/codecs/flac/FlacSeek.h"

#include <algorithm>

#include "platform/codecs/flac/FlacScanner.h"

namespace tolvane {

namespace {

constexpr std::uint64_t seekPrecision = 64 * 1024;        // bytes; some tenths of a second
constexpr std::uint64_t longestHeaderSearch = 1024 * 1024;  // bytes, for one header

/// The first header from `offset` on that a block of this stream could have, behind the frame `after`.
std::optional<FlacDecoder::Place> findBlock(FlacScanner& scanner, const FlacStream& stream, std::uint64_t offset,
                                            std::uint64_t end, std::uint64_t after) {
  for (const std::uint64_t limit = std::min(end, offset + longestHeaderSearch); offset < limit;) {
    const auto head = scanner.find(offset, limit);
    if (!head || !*head) break;
    if ((*head)->hasFormatOf(stream) && (*head)->frame > after)
      return FlacDecoder::Place{(*head)->offset, (*head)->frame};
    offset = (*head)->offset + 1;
  }
  return std::nullopt;
}

}  // namespace

std::optional<FlacDecoder::Place> findFlacPlaceBefore(const ByteSource& source, const FlacStream& stream,
                                                      std::uint64_t frame) {
  constexpr std::size_t windowBytes = 16 * 1024;
  FlacScanner scanner(source, stream, windowBytes);
  FlacDecoder::Place best{stream.firstBlock, stream.firstFrame};
  for (std::uint64_t end = stream.end; end > best.offset && end - best.offset > seekPrecision;) {
    const std::uint64_t middle = best.offset + (end - best.offset) / 2;
    const auto place = findBlock(scanner, stream, middle, end, best.frame);
    if (place && place->frame < frame) {
      best = *place;
    } else {
      end = middle;
    }
  }
  return best.offset > stream.firstBlock ? std::optional(best) : std::nullopt;
}

}  // namespace tolvane
