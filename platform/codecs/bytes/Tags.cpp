#include "platform/codecs/bytes/Tags.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/codecs/bytes/ByteOrder.h"

namespace tolvane {

namespace {

// A file has few tags; a file that consists only of tags must not be walked to its end.
constexpr int kMostTags = 100;
constexpr std::size_t kApeFooterSize = 32;

bool startsWith(std::span<const std::byte> bytes, std::string_view text) {
  return bytes.size() >= text.size() &&
         std::ranges::equal(bytes.first(text.size()), text, {}, [](std::byte b) { return static_cast<char>(b); });
}

/// ID3v2: seven bits a byte for the size, ten bytes of header and, where a flag says so, ten of footer.
std::uint64_t id3Size(std::span<const std::byte> bytes) {
  if (bytes.size() < 10 || !startsWith(bytes, "ID3")) return 0;
  std::uint64_t size = 0;
  for (std::size_t i = 6; i < 10; ++i) {
    const auto part = std::to_integer<std::uint64_t>(bytes[i]);
    if (part >= 0x80) return 0;
    size = size << 7 | part;
  }
  const bool hasFooter = (bytes[5] & std::byte{0x10}) != std::byte{0};
  return 10 + size + (hasFooter ? 10 : 0);
}

/// APE: the size counts the items and the footer; a header, if a flag says so, is extra.
std::uint64_t apeSize(std::span<const std::byte> bytes) {
  if (bytes.size() < kApeFooterSize || !startsWith(bytes, "APETAGEX")) return 0;
  constexpr std::uint32_t kHasHeader = 1U << 31;
  const std::uint64_t size = loadLittle<std::uint32_t>(bytes, 12);
  const bool hasHeader = (loadLittle<std::uint32_t>(bytes, 20) & kHasHeader) != 0;
  return size + (hasHeader ? kApeFooterSize : 0);
}

/// Lyrics3 version 2 ends with six digits: the number of bytes before them.
std::uint64_t lyricsSize(std::span<const std::byte> end) {
  constexpr std::size_t kTailSize = 15;
  if (end.size() < kTailSize || !startsWith(end.last(9), "LYRICS200")) return 0;
  std::uint64_t size = 0;
  for (const std::byte digit : end.last(kTailSize).first(6)) {
    if (digit < std::byte{'0'} || digit > std::byte{'9'}) return 0;
    size = size * 10 + (std::to_integer<std::uint64_t>(digit) - '0');
  }
  return size + kTailSize;
}

/// Bytes of the tag that ends at the end of these bytes.
std::uint64_t tagSizeBefore(std::span<const std::byte> end) {
  constexpr std::size_t kId3v1Size = 128;
  if (end.size() >= kId3v1Size && startsWith(end.last(kId3v1Size), "TAG")) return kId3v1Size;
  if (const std::uint64_t size = lyricsSize(end); size != 0) return size;
  return end.size() >= kApeFooterSize ? apeSize(end.last(kApeFooterSize)) : 0;
}

}  // namespace

std::expected<std::uint64_t, OSStatus> tagSizeAt(const ByteSource& source, std::uint64_t offset) {
  std::array<std::byte, kApeFooterSize> start;
  const auto count = source.readAt(offset, start);
  if (!count) return std::unexpected(count.error());
  const auto bytes = std::span<const std::byte>(start).first(*count);
  return std::max(id3Size(bytes), apeSize(bytes));
}

std::expected<std::uint64_t, OSStatus> endOfLeadingTags(const ByteSource& source) {
  std::uint64_t offset = 0;
  for (int i = 0; i < kMostTags && offset < source.size(); ++i) {
    const auto size = tagSizeAt(source, offset);
    if (!size) return size;
    if (*size == 0) break;
    offset += *size;
  }
  return std::min(offset, source.size());
}

std::expected<std::uint64_t, OSStatus> startOfTrailingTags(const ByteSource& source, std::uint64_t begin) {
  std::uint64_t end = std::max(source.size(), begin);
  std::array<std::byte, 128> storage;
  for (int i = 0; i < kMostTags && end > begin; ++i) {
    const auto wanted = std::min<std::uint64_t>(storage.size(), end - begin);
    const auto bytes = std::span(storage).first(wanted);
    const auto count = source.readAt(end - wanted, bytes);
    if (!count) return std::unexpected(count.error());
    const std::uint64_t size = tagSizeBefore(bytes.first(*count));
    if (size == 0 || size > end - begin) break;
    end -= size;
  }
  return end;
}

}  // namespace tolvane
