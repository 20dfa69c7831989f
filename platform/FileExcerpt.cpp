#include "platform/FileExcerpt.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "platform/PrintableText.h"

namespace tolvane {

namespace {

constexpr std::uint32_t noEnd = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t mostTextBytes = std::numeric_limits<std::uint16_t>::max();
/// More than the line of a sheet that is kept.
constexpr std::size_t longestLine = 2048;

std::uint64_t frameAt(std::uint32_t sector, double rate, std::uint64_t frames) {
  const double frame = std::floor(static_cast<double>(sector) * rate / FileExcerpt::sectorsPerSecond);
  return frame < static_cast<double>(frames) ? static_cast<std::uint64_t>(std::max(frame, 0.0)) : frames;
}

template <typename T>
void appendNumber(std::string& bytes, T number) {
  for (std::size_t i = 0; i < sizeof(T); ++i) bytes += static_cast<char>(number >> (8 * i) & 0xFFU);
}

template <typename T>
std::optional<T> takeNumber(std::string_view& bytes) {
  if (bytes.size() < sizeof(T)) return std::nullopt;
  T number = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i)
    number = static_cast<T>(number | static_cast<T>(static_cast<unsigned char>(bytes[i])) << (8 * i));
  bytes.remove_prefix(sizeof(T));
  return number;
}

void appendText(std::string& bytes, std::string_view text) {
  text = text.substr(0, mostTextBytes);
  appendNumber(bytes, static_cast<std::uint16_t>(text.size()));
  bytes += text;
}

std::optional<std::string> takeText(std::string_view& bytes) {
  const auto size = takeNumber<std::uint16_t>(bytes);
  if (!size || *size > bytes.size()) return std::nullopt;
  std::string text(bytes.substr(0, *size));
  bytes.remove_prefix(*size);
  return text;
}

}  // namespace

FrameRange framesOf(const FileExcerpt& excerpt, double rate, std::uint64_t frames) {
  const std::uint64_t first = frameAt(excerpt.first, rate, frames);
  const std::uint64_t end = excerpt.end ? frameAt(*excerpt.end, rate, frames) : frames;
  return {first, std::max(first, end)};
}

std::string encodedExcerpt(const FileExcerpt& excerpt) {
  std::string bytes;
  appendNumber(bytes, excerpt.first);
  appendNumber(bytes, excerpt.end.value_or(noEnd));
  appendNumber(bytes, static_cast<std::uint32_t>(excerpt.trackNumber.value_or(0)));
  for (const std::string* text : {&excerpt.title, &excerpt.artist, &excerpt.album}) appendText(bytes, *text);
  return bytes;
}

std::optional<FileExcerpt> decodedExcerpt(std::string_view bytes) {
  const auto first = takeNumber<std::uint32_t>(bytes);
  const auto end = takeNumber<std::uint32_t>(bytes);
  const auto number = takeNumber<std::uint32_t>(bytes);
  auto title = takeText(bytes);
  auto artist = takeText(bytes);
  auto album = takeText(bytes);
  for (const auto* line : {&title, &artist, &album})
    if (!*line || (*line)->size() > longestLine || withoutControls(**line, replacementCharacter) != **line)
      return std::nullopt;
  constexpr std::uint32_t largestNumber = 9999;
  if (!number || !bytes.empty()) return std::nullopt;
  if (*end <= *first || *number > largestNumber) return std::nullopt;
  return FileExcerpt{.first = *first,
                     .end = *end != noEnd ? end : std::nullopt,
                     .title = *std::move(title),
                     .artist = *std::move(artist),
                     .album = *std::move(album),
                     .trackNumber = *number != 0 ? std::optional(static_cast<std::int32_t>(*number)) : std::nullopt};
}

}  // namespace tolvane
