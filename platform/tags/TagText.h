#pragma once
// Texts and numbers of tags as MusicTags has them. Pure; any thread.

#include <taglib/tstring.h>
#include <taglib/tstringlist.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tolvane {

/// One line without blanks around it, cut where it is very long. What cannot be shown becomes U+FFFD.
[[nodiscard]] std::string tagText(const TagLib::String& text);

/// All of them that are not empty, separated by ", ".
[[nodiscard]] std::string tagText(const TagLib::StringList& texts);

/// Text of unknown encoding, up to the first zero: UTF-8 where it is well-formed, else Latin-1.
[[nodiscard]] TagLib::String decodedText(std::span<const std::byte> bytes);

/// The number that a text begins with, as "3", "03" and "3/12" do.
[[nodiscard]] std::optional<std::int32_t> trackNumber(std::string_view text);

}  // namespace tolvane
