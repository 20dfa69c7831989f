#pragma once
// Four-character codes: the 32-bit names that the audio device layer uses for selectors, scopes and formats.

#include <cstdint>
#include <string>

namespace tolvane {

using FourCharCode = std::uint32_t;

/// 'nsrt' is written fourCharCode("nsrt"); the first character is the most significant byte.
consteval FourCharCode fourCharCode(const char (&text)[5]) {
  FourCharCode code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

/// The four characters of a code, for people; unprintable bytes become '.'.
inline std::string fourCharText(FourCharCode code) {
  std::string text(4, '.');
  for (int i = 0; i < 4; ++i) {
    const auto c = static_cast<char>(code >> (24 - 8 * i) & 0xFF);
    if (c >= ' ' && c <= '~') text[i] = c;
  }
  return text;
}

}  // namespace tolvane
