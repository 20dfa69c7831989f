#include "platform/codecs/flac/FlacScanner.h"

#include <algorithm>
#include <array>

namespace tolvane {

namespace {

/// Polynomial x^16 + x^15 + x^2 + 1, a byte at a time.
constexpr std::array<std::uint16_t, 256> checksumTable = [] {
  std::array<std::uint16_t, 256> table{};
  for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
    std::uint32_t sum = byte << 8;
    for (int bit = 0; bit < 8; ++bit) sum = (sum & 0x8000) != 0 ? (sum << 1 ^ 0x8005) & 0xFFFF : sum << 1;
    table[byte] = static_cast<std::uint16_t>(sum);
  }
  return table;
}();

/// The last few headers that a search has met.
class RecentHeaders {
 public:
  static constexpr std::size_t capacity = 8;

  void add(const FlacBlockHeader& head) { heads_[count_++ % capacity] = head; }
  [[nodiscard]] std::span<const FlacBlockHeader> all() const {
    return std::span(heads_).first(std::min(count_, capacity));
  }

 private:
  std::array<FlacBlockHeader, capacity> heads_;
  std::size_t count_ = 0;
};

}  // namespace

FlacScanner::Result FlacScanner::find(std::uint64_t offset, std::uint64_t limit) {
  constexpr std::size_t piece = 4096;
  for (limit = std::min(limit, stream_.end); offset < limit;) {
    const auto bytes = window_.at(offset, std::min<std::uint64_t>(piece, limit - offset));
    if (!bytes) return std::unexpected(bytes.error());
    if (bytes->empty()) break;
    const auto candidate = static_cast<std::uint64_t>(std::ranges::find(*bytes, std::byte{0xFF}) - bytes->begin());
    const bool isHere = candidate < bytes->size();
    offset += candidate;
    if (!isHere) continue;
    const auto start = window_.at(offset, std::min<std::uint64_t>(FlacBlockHeader::largestBytes, stream_.end - offset));
    if (!start) return std::unexpected(start.error());
    if (start->size() >= 2 && ((*start)[1] & std::byte{0xFE}) == std::byte{0xF8}) {
      ++headersTried_;
      if (auto head = FlacBlockHeader::parse(*start, stream_)) {
        head->offset = offset;
        return head;
      }
    }
    ++offset;
  }
  return std::nullopt;
}

std::expected<std::uint64_t, OSStatus> FlacScanner::countFrames(std::uint64_t most) {
  auto head = find(stream_.firstBlock, stream_.firstBlock + 1);
  if (!head) return std::unexpected(head.error());
  if (!*head || !(*head)->hasFormatOf(stream_)) {
    const OSStatus status = statusOfBlocksBehind(stream_.firstBlock);
    return status == noErr ? std::expected<std::uint64_t, OSStatus>(0) : std::unexpected(status);
  }
  FlacBlockHeader last = **head;
  for (std::uint64_t offset = last.offset + last.byteCount; last.frame + last.frames - stream_.firstFrame < most;) {
    head = find(offset, stream_.end);
    if (!head) return std::unexpected(head.error());
    if (!*head) {
      const OSStatus status = statusOfBlocksBehind(last.offset + last.byteCount);
      if (status != noErr) return std::unexpected(status);
      break;
    }
    // What looks like a header inside of a block has hardly ever the number that must come next.
    if ((*head)->continues(last)) last = **head;
    offset = (*head)->offset + 1;
  }
  return last.frame + last.frames - stream_.firstFrame;
}

OSStatus FlacScanner::statusOfBlocksBehind(std::uint64_t offset) {
  const auto judge = [this](const FlacBlockHeader& head) {
    return head.hasFormatOf(stream_) ? kAudioFileInvalidFileError : kAudioFileUnsupportedDataFormatError;
  };
  RecentHeaders recent;
  while (true) {
    const auto head = find(offset, stream_.end);
    if (!head) return head.error();
    if (!*head) break;
    // One header may be there by chance, a second one with just the number that must follow is not.
    for (const auto& earlier : recent.all()) {
      if ((*head)->continues(earlier)) return judge(earlier);
    }
    recent.add(**head);
    offset = (*head)->offset + 1;
  }
  // The last block of a stream has none behind it.
  for (const auto& head : recent.all()) {
    const auto isWhole = isWholeBlock(head);
    if (!isWhole) return isWhole.error();
    if (*isWhole) return judge(head);
  }
  return noErr;
}

std::expected<bool, OSStatus> FlacScanner::isWholeBlock(const FlacBlockHeader& head) {
  constexpr std::uint64_t longestBlock = 1024 * 1024;  // bytes; a longer one at the very end counts as cut
  constexpr std::size_t piece = 4096;
  if (stream_.end - head.offset > longestBlock) return false;
  std::uint32_t sum = 0;
  for (std::uint64_t offset = head.offset; offset < stream_.end;) {
    const auto bytes = window_.at(offset, std::min<std::uint64_t>(piece, stream_.end - offset));
    if (!bytes) return std::unexpected(bytes.error());
    if (bytes->empty()) return false;
    for (const std::byte byte : *bytes) {
      sum = (sum << 8 & 0xFFFF) ^ checksumTable[sum >> 8 ^ std::to_integer<std::uint32_t>(byte)];
    }
    offset += bytes->size();
  }
  // The checksum stands behind the block, so that the sum over both is 0.
  return sum == 0;
}

}  // namespace tolvane
