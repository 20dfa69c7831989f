#include "platform/PrintableText.h"

#include <cstdint>

namespace tolvane {
namespace {

bool isWithin(std::uint32_t code, std::uint32_t first, std::uint32_t last) { return first <= code && code <= last; }

bool isControlCode(std::uint32_t code) {
  return code < 0x20 || isWithin(code, 0x7F, 0x9F) || code == 0x061C || isWithin(code, 0x200E, 0x200F) ||
         isWithin(code, 0x2028, 0x202E) || isWithin(code, 0x2066, 0x2069);
}

/// Bytes of a sequence that begins so; 1 also where none does.
std::size_t sequenceLength(std::uint8_t lead) {
  if (isWithin(lead, 0xC2, 0xDF)) return 2;
  if (isWithin(lead, 0xE0, 0xEF)) return 3;
  return isWithin(lead, 0xF0, 0xF4) ? 4 : 1;
}

/// Neither longer than it must be, nor half of a surrogate pair, nor beyond Unicode.
bool isCodeOfLength(std::uint32_t code, std::size_t length) {
  if (length == 3) return code >= 0x800 && !isWithin(code, 0xD800, 0xDFFF);
  return length != 4 || isWithin(code, 0x10000, 0x10FFFF);
}

}  // namespace

TextCharacter firstCharacter(std::string_view text) {
  const auto lead = static_cast<std::uint8_t>(text.front());
  const TextCharacter single{1, isControlCode(lead)};
  const std::size_t length = sequenceLength(lead);
  if (length == 1 || text.size() < length) return single;
  std::uint32_t code = lead & (0x7FU >> length);
  for (const char next : text.substr(1, length - 1)) {
    const auto byte = static_cast<std::uint8_t>(next);
    if (!isWithin(byte, 0x80, 0xBF)) return single;
    code = code << 6U | (byte & 0x3FU);
  }
  return isCodeOfLength(code, length) ? TextCharacter{length, isControlCode(code)} : single;
}

std::string withoutControls(std::string_view text, std::string_view replacement) {
  std::string printable;
  printable.reserve(text.size());
  while (!text.empty()) {
    const auto [length, isControl] = firstCharacter(text);
    printable += isControl ? replacement : text.substr(0, length);
    text.remove_prefix(length);
  }
  return printable;
}

std::string printableText(std::string_view text) { return withoutControls(text, "?"); }

}  // namespace tolvane
