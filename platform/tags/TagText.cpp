#include "platform/tags/TagText.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "platform/PrintableText.h"

namespace tolvane {

namespace {

constexpr unsigned int mostCharacters = 400;
constexpr std::size_t mostDigits = 9;

bool isHighSurrogate(wchar_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }

std::string_view withoutBlanksAround(std::string_view text) {
  const auto begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

/// In UTF-8. The library keeps UTF-16, whose pairs must not be torn apart.
std::string cutText(const TagLib::String& text) {
  if (text.size() <= mostCharacters) return text.to8Bit(true);
  const bool tearsPair = isHighSurrogate(text[static_cast<int>(mostCharacters) - 1]);
  return text.substr(0, tearsPair ? mostCharacters - 1 : mostCharacters).to8Bit(true) + "\u2026";
}

bool isUTF8(std::string_view text) {
  while (!text.empty()) {
    const auto length = firstCharacter(text).length;
    if (length == 1 && static_cast<unsigned char>(text.front()) >= 0x80) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace

std::string tagText(const TagLib::String& text) {
  const TagLib::String beginning = text.size() > 4 * mostCharacters ? text.substr(0, 4 * mostCharacters) : text;
  std::string line = cutText(beginning.stripWhiteSpace());
  std::ranges::replace_if(
      line, [](char sign) { return sign == '\t' || sign == '\n' || sign == '\r' || sign == '\0'; }, ' ');
  return withoutControls(withoutBlanksAround(line), replacementCharacter);
}

std::string tagText(const TagLib::StringList& texts) {
  TagLib::StringList stated;
  for (const TagLib::String& text : texts) {
    if (stated.size() >= mostCharacters) break;
    if (!text.stripWhiteSpace().isEmpty()) stated.append(text.stripWhiteSpace());
  }
  return tagText(stated.toString(", "));
}

TagLib::String decodedText(std::span<const std::byte> bytes) {
  const std::string_view all(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const std::string text(all.substr(0, all.find('\0')));
  return {text, isUTF8(text) ? TagLib::String::UTF8 : TagLib::String::Latin1};
}

std::optional<std::int32_t> trackNumber(std::string_view text) {
  const std::string_view digits = text.substr(0, mostDigits);
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return error == std::errc() && number >= 1 && number <= 9999 ? std::optional(number) : std::nullopt;
}

}  // namespace tolvane
