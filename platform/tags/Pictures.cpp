#include "platform/tags/Pictures.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tolvane {

namespace {

using namespace std::string_view_literals;

bool beginsWith(std::span<const std::byte> bytes, std::string_view mark) {
  return bytes.size() >= mark.size() &&
         std::ranges::equal(bytes.first(mark.size()), mark, {}, [](std::byte b) { return static_cast<char>(b); });
}

}  // namespace

std::optional<Cover::Format> pictureFormat(std::span<const std::byte> bytes) {
  if (beginsWith(bytes, "\xFF\xD8\xFF"sv)) return Cover::Format::jpeg;
  if (beginsWith(bytes, "\x89PNG\r\n\x1A\n"sv)) return Cover::Format::png;
  return std::nullopt;
}

std::optional<Cover> coverOf(std::vector<std::byte> bytes) {
  const auto format = pictureFormat(bytes);
  if (!format || bytes.size() > maximumPictureBytes) return std::nullopt;
  return Cover{*format, std::move(bytes), std::nullopt};
}

std::vector<std::byte> readBytes(const ByteSource& source, std::uint64_t offset, std::uint64_t most) {
  if (offset >= source.size()) return {};
  std::vector<std::byte> bytes(std::min(most, source.size() - offset));
  bytes.resize(source.readAt(offset, bytes).value_or(0));
  return bytes;
}

}  // namespace tolvane
