#include "session/SheetText.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/PrintableText.h"

namespace tolvane {

namespace {

constexpr std::size_t mostCharacters = 400;
constexpr std::uint32_t replacementCode = 0xFFFD;

/// Windows-1252 from 0x80 to 0x9F; the rest of it is Latin-1. 0: unused.
constexpr std::array<std::uint16_t, 32> windowsCodes{0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                     0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                                     0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                     0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

void appendCode(std::string& text, std::uint32_t code) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(code), bytes.data());
  text.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

std::uint32_t windowsCode(unsigned char byte) {
  if (byte < 0x80 || byte > 0x9F) return byte;
  const std::uint32_t code = windowsCodes.at(byte - 0x80U);
  return code != 0 ? code : replacementCode;
}

bool isHighSurrogate(std::uint32_t unit) { return (unit & 0xFC00U) == 0xD800; }
bool isLowSurrogate(std::uint32_t unit) { return (unit & 0xFC00U) == 0xDC00; }

std::string fromUTF16(std::string_view bytes, bool isBigEndian) {
  const auto unitAt = [&](std::size_t at) {
    const std::uint32_t first = static_cast<unsigned char>(bytes[at]);
    const std::uint32_t second = static_cast<unsigned char>(bytes[at + 1]);
    return isBigEndian ? first << 8U | second : second << 8U | first;
  };
  std::string text;
  for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
    std::uint32_t code = unitAt(at);
    if (isHighSurrogate(code) && at + 3 < bytes.size() && isLowSurrogate(unitAt(at + 2))) {
      at += 2;
      code = 0x10000 + ((code & 0x3FFU) << 10U) + (unitAt(at) & 0x3FFU);
    }
    appendCode(text, isHighSurrogate(code) || isLowSurrogate(code) ? replacementCode : code);
  }
  return text;
}

}  // namespace

bool isUTF8(std::string_view text) {
  while (!text.empty()) {
    utf8proc_int32_t character = 0;
    const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                         static_cast<utf8proc_ssize_t>(text.size()), &character);
    if (length < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(length));
  }
  return true;
}

std::string textFromUnknownEncoding(std::string_view text) {
  if (isUTF8(text)) return std::string(text);
  std::string converted;
  for (const char byte : text) appendCode(converted, windowsCode(static_cast<unsigned char>(byte)));
  return converted;
}

std::string withoutByteOrderMark(std::string_view bytes) {
  constexpr std::string_view mark8 = "\xEF\xBB\xBF";
  constexpr std::string_view markLittle = "\xFF\xFE";
  constexpr std::string_view markBig = "\xFE\xFF";
  if (bytes.starts_with(markLittle)) return fromUTF16(bytes.substr(markLittle.size()), false);
  if (bytes.starts_with(markBig)) return fromUTF16(bytes.substr(markBig.size()), true);
  if (bytes.starts_with(mark8)) bytes.remove_prefix(mark8.size());
  return std::string(bytes);
}

std::string shownLine(std::string_view text) {
  constexpr std::string_view blanks = " \t";
  const auto begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  text = text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
  std::size_t length = 0;
  std::size_t characters = 0;
  for (; length < text.size() && characters < mostCharacters; ++characters)
    length += firstCharacter(text.substr(length)).length;
  std::string line(text.substr(0, length));
  std::ranges::replace(line, '\t', ' ');
  return withoutControls(line, replacementCharacter) + (length < text.size() ? "\u2026" : "");
}

}  // namespace tolvane
