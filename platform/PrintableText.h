#pragma once
// Text from outside (file names, messages of servers) as a terminal may be given it. Pure; any thread.

#include <cstddef>
#include <string>
#include <string_view>

namespace tolvane {

/// `text` with a '?' for every control character that could move the cursor, start an escape sequence or turn the
/// direction of what follows: ASCII and C1 controls, and Unicode's bidirectional marks, embeddings, overrides and
/// isolates. So are bytes from 0x80 to 0x9F outside of well-formed UTF-8, which are C1 controls in 8-bit encodings.
/// Other bytes stay, also where they are not UTF-8.
[[nodiscard]] std::string printableText(std::string_view text);

/// The same with `replacement` for each of them.
[[nodiscard]] std::string withoutControls(std::string_view text, std::string_view replacement);

/// U+FFFD, which stands for a character that cannot be shown.
inline constexpr std::string_view replacementCharacter = "\uFFFD";

struct TextCharacter {
  std::size_t length;  ///< bytes
  bool isControl;      ///< one of those that printableText() replaces
};

/// What `text` begins with: a character of well-formed UTF-8, or a byte that belongs to none.
/// REQUIRES: `text` is not empty.
[[nodiscard]] TextCharacter firstCharacter(std::string_view text);

}  // namespace tolvane
