#pragma once
// Four-character codes: the 32-bit names that the audio device layer uses for selectors, scopes and formats.

#include <cstdint>

namespace tolvane {

using FourCharCode = std::uint32_t;

/// 'nsrt' is written fourCharCode("nsrt"); the first character is the most significant byte.
consteval FourCharCode fourCharCode(const char (&text)[5]) {
  FourCharCode code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

}  // namespace tolvane
