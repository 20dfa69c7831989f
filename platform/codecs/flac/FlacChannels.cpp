#include "platform/codecs/flac/FlacChannels.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "platform/FileURL.h"
#include "platform/codecs/bytes/ByteOrder.h"

namespace tolvane {
namespace {

constexpr std::size_t markerSize = 4;
constexpr std::size_t blockHeadSize = 4;
constexpr int mostBlocks = 10'000;
constexpr std::uint32_t mostComments = 10'000;
constexpr unsigned commentBlock = 4;

bool readAt(const ByteSource& source, std::uint64_t offset, std::span<std::byte> bytes) {
  const auto got = source.readAt(offset, bytes);
  return got && *got == bytes.size();
}

/// "0x60F" or "1551"; nothing for what is no number, and for 0.
std::optional<std::uint32_t> maskFrom(std::string_view text) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  std::uint32_t mask = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, mask, isHexadecimal ? 16 : 10);
  return error == std::errc() && last == end && mask != 0 ? std::optional(mask) : std::nullopt;
}

/// The mask among the comments of the block from `at` to `end`; 0 where there is none, nothing where there may be one
/// that cannot be read.
std::optional<std::uint32_t> maskIn(const ByteSource& source, std::uint64_t at, std::uint64_t end) {
  constexpr std::string_view name = "WAVEFORMATEXTENSIBLE_CHANNEL_MASK=";
  constexpr std::size_t longestValue = 16;
  std::array<std::byte, 4> number;
  const auto readNumber = [&](std::uint32_t& value) {
    if (at > end || end - at < number.size() || !readAt(source, at, number)) return false;
    value = loadLittle<std::uint32_t>(number, 0);
    at += number.size();
    return true;
  };
  std::uint32_t vendorSize = 0;
  std::uint32_t count = 0;
  if (!readNumber(vendorSize)) return std::nullopt;
  at += vendorSize;
  if (!readNumber(count)) return std::nullopt;
  for (std::uint32_t i = 0; i < std::min(count, mostComments); ++i) {
    std::uint32_t size = 0;
    if (!readNumber(size) || size > end - at) return std::nullopt;
    if (size >= name.size()) {
      std::string text(std::min<std::size_t>(size, name.size() + longestValue + 1), '\0');
      if (!readAt(source, at, std::as_writable_bytes(std::span(text)))) return std::nullopt;
      if (asciiUppercased(std::string_view(text).substr(0, name.size())) == name)
        return maskFrom(std::string_view(text).substr(name.size()));  // one that is too long is no number
    }
    at += size;
  }
  return count <= mostComments ? std::optional(0U) : std::nullopt;
}

/// As maskIn, of the whole stream.
std::optional<std::uint32_t> channelMask(const ByteSource& source, std::uint64_t offset) {
  std::uint64_t at = offset + markerSize;
  for (int block = 0; block < mostBlocks; ++block) {
    std::array<std::byte, blockHeadSize> head;
    if (!readAt(source, at, head)) return std::nullopt;
    const auto word = loadBig<std::uint32_t>(head, 0);
    const bool isLast = word >> 31U != 0;
    const std::uint64_t content = at + head.size();
    at = content + (word & 0xFFFFFFU);
    if ((word >> 24U & 0x7FU) == commentBlock) return maskIn(source, content, at);
    if (isLast) return 0;
  }
  return std::nullopt;
}

}  // namespace

ChannelLayout readFlacChannels(const ByteSource& source, std::uint64_t offset, std::uint32_t channels) {
  if (channels > 2) {
    const auto mask = channelMask(source, offset);
    if (!mask) return usualLayout(channels);
    if (*mask != 0) return layoutOfMask(*mask, channels);
  }
  ChannelLayout layout = usualLayout(channels);
  layout.isStated = true;
  return layout;
}

}  // namespace tolvane
