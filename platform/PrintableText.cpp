#include "platform/PrintableText.h"

#include <cstddef>
#include <cstdint>

namespace tolvane {
namespace {

std::uint8_t byteAt(std::string_view text, std::size_t at) {
  return at < text.size() ? static_cast<std::uint8_t>(text[at]) : 0;
}

}  // namespace

std::size_t controlCharacterLength(std::string_view text) {
  if (text.empty()) return 0;
  const std::uint8_t first = byteAt(text, 0);
  const std::uint8_t second = byteAt(text, 1);
  const std::uint8_t third = byteAt(text, 2);
  if (first < 0x20 || first == 0x7F) return 1;
  if (first == 0xC2 && second >= 0x80 && second <= 0x9F) return 2;  // U+0080 to U+009F
  if (first == 0xD8 && second == 0x9C) return 2;                    // U+061C
  if (first != 0xE2) return 0;
  const bool isMarkOrOverride = second == 0x80 && (third == 0x8E || third == 0x8F || (third >= 0xA8 && third <= 0xAE));
  const bool isIsolate = second == 0x81 && third >= 0xA6 && third <= 0xA9;
  return isMarkOrOverride || isIsolate ? 3 : 0;  // U+200E, U+200F, U+2028 to U+202E, U+2066 to U+2069
}

std::string printableText(std::string_view text) {
  std::string printable;
  printable.reserve(text.size());
  while (!text.empty()) {
    const std::size_t control = controlCharacterLength(text);
    printable += control > 0 ? '?' : text.front();
    text.remove_prefix(control > 0 ? control : 1);
  }
  return printable;
}

}  // namespace tolvane
