#pragma once
// What the readers of the kernel's texts share. Pure; any thread.

#include <string_view>

namespace tolvane {

/// Without the spaces, tabs and line ends around it.
[[nodiscard]] inline std::string_view trimmed(std::string_view text) {
  constexpr std::string_view spaces = " \t\r\n";
  const auto first = text.find_first_not_of(spaces);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(spaces) - first + 1);
}

}  // namespace tolvane
