#pragma once
// Text from outside (file names, messages of servers) as a terminal may be given it. Pure; any thread.

#include <cstddef>
#include <string>
#include <string_view>

namespace tolvane {

/// `text` with a '?' for every control character that could move the cursor, start an escape sequence or turn the
/// direction of what follows: ASCII and C1 controls, and Unicode's bidirectional marks, embeddings, overrides and
/// isolates. Other bytes stay, also where they are not UTF-8.
[[nodiscard]] std::string printableText(std::string_view text);

/// Bytes of such a control character where `text` begins with one; 0 for any other character and for no text.
[[nodiscard]] std::size_t controlCharacterLength(std::string_view text);

}  // namespace tolvane
