#include "platform/codecs/FlacChannels.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>
#include <string_view>

#include "platform/FileURL.h"
#include "platform/codecs/ByteOrder.h"

namespace tolvane {
namespace {

constexpr std::size_t markerSize = 4;
constexpr std::size_t blockHeadSize = 4;
constexpr int mostBlocks = 1000;
constexpr std::uint32_t mostComments = 10'000;
constexpr unsigned commentBlock = 4;

bool readAt(const ByteSource& source, std::uint64_t offset, std::span<std::byte> bytes) {
  const auto got = source.readAt(offset, bytes);
  return got && *got == bytes.size();
}

/// "0x60F" or "1551"; 0 for what is no number.
std::uint32_t maskFrom(std::string_view text) {
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  std::uint32_t mask = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, mask, isHexadecimal ? 16 : 10);
  return error == std::errc() && last == end ? mask : 0;
}

/// The mask among the comments of the block from `at` to `end`; 0 where there is none.
std::uint32_t maskIn(const ByteSource& source, std::uint64_t at, std::uint64_t end) {
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
  if (!readNumber(vendorSize)) return 0;
  at += vendorSize;
  if (!readNumber(count)) return 0;
  for (std::uint32_t i = 0; i < std::min(count, mostComments); ++i) {
    std::uint32_t size = 0;
    if (!readNumber(size) || size > end - at) return 0;
    if (size > name.size() && size <= name.size() + longestValue) {
      std::string text(size, '\0');
      if (!readAt(source, at, std::as_writable_bytes(std::span(text)))) return 0;
      if (asciiUppercased(std::string_view(text).substr(0, name.size())) == name)
        return maskFrom(std::string_view(text).substr(name.size()));
    }
    at += size;
  }
  return 0;
}

std::uint32_t channelMask(const ByteSource& source, std::uint64_t offset) {
  std::uint64_t at = offset + markerSize;
  for (int block = 0; block < mostBlocks; ++block) {
    std::array<std::byte, blockHeadSize> head;
    if (!readAt(source, at, head)) return 0;
    const auto word = loadBig<std::uint32_t>(head, 0);
    const bool isLast = word >> 31U != 0;
    const std::uint64_t content = at + head.size();
    at = content + (word & 0xFFFFFFU);
    if ((word >> 24U & 0x7FU) == commentBlock) return maskIn(source, content, at);
    if (isLast) return 0;
  }
  return 0;
}

}  // namespace

ChannelLayout readFlacChannels(const ByteSource& source, std::uint64_t offset, std::uint32_t channels) {
  if (channels > 2) {
    if (const std::uint32_t mask = channelMask(source, offset); mask != 0) return layoutOfMask(mask, channels);
  }
  ChannelLayout layout = usualLayout(channels);
  layout.isStated = true;
  return layout;
}

}  // namespace tolvane
