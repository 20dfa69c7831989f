#pragma once
// Text of unknown encoding, as programs of other systems write it. Pure; any thread.

#include <string>
#include <string_view>

namespace tolvane {

[[nodiscard]] bool isUTF8(std::string_view text);

/// UTF-8 as it is, anything else taken for Windows-1252.
[[nodiscard]] std::string textFromUnknownEncoding(std::string_view text);

/// In UTF-8 what begins with a byte order mark of UTF-16. Other bytes as they are, without the mark of UTF-8.
[[nodiscard]] std::string withoutByteOrderMark(std::string_view bytes);

/// One line as MusicTags has it: without blanks around it and control characters, cut where it is very long.
/// REQUIRES: UTF-8.
[[nodiscard]] std::string shownLine(std::string_view text);

}  // namespace tolvane
