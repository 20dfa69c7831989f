#pragma once
// A four-character code as text, for logs and tests. Apart from the codes, which the render path includes too.

#include <string>

#include "platform/FourCharCode.h"

namespace tolvane {

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
