#pragma once
// Binary data as text for the saved records (RFC 4648, with padding). Pure.

#include <optional>
#include <string>
#include <string_view>

namespace tolvane {

/// Appends the text of `bytes`: letters, digits, '+', '/' and '=' only.
void appendBase64(std::string& text, std::string_view bytes);

/// Nothing for anything else than whole, padded groups of four.
[[nodiscard]] std::optional<std::string> decodedBase64(std::string_view text);

}  // namespace tolvane
