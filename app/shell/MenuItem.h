#pragma once
// A line of a menu as data: its text, its look, and the action that it requests. A value.

#include <cstdint>
#include <optional>
#include <string>

namespace tolvane {

enum class ShellAction : std::uint8_t { previousTrack, togglePlayback, nextTrack, showPlayerFromMenu, terminate };

struct MenuItem {
  std::string title{};   ///< empty: a separator
  std::string symbol{};  ///< empty: none
  bool isEnabled = true;
  std::optional<ShellAction> action{};  ///< none: a line to read

  [[nodiscard]] bool isSeparator() const { return title.empty(); }
  [[nodiscard]] static MenuItem separator() { return {}; }
  [[nodiscard]] static MenuItem text(std::string line) { return {std::move(line), {}, false, {}}; }

  bool operator==(const MenuItem&) const = default;
};

}  // namespace tolvane
