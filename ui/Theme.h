#pragma once
// The palette: warm light on a dark ground. Values only, sRGB.

namespace tolvane {

/// Components 0 … 1.
struct ThemeColor {
  double red = 0;
  double green = 0;
  double blue = 0;
  double opacity = 1;

  [[nodiscard]] constexpr ThemeColor withOpacity(double value) const { return {red, green, blue, value}; }
  bool operator==(const ThemeColor&) const = default;
};

namespace Theme {
inline constexpr ThemeColor ink{0.969, 0.898, 0.788};
inline constexpr ThemeColor muted{0.773, 0.663, 0.549};
inline constexpr ThemeColor ember{0.937, 0.408, 0.298};
inline constexpr ThemeColor copper{0.851, 0.557, 0.267};
inline constexpr ThemeColor gold{0.941, 0.761, 0.533};
inline constexpr ThemeColor wine{0.227, 0.059, 0.059};
inline constexpr ThemeColor deepWine{0.129, 0.035, 0.031};
inline constexpr ThemeColor night{0.063, 0.02, 0.016};
inline constexpr ThemeColor panel{0.102, 0.031, 0.027};
inline constexpr ThemeColor raisedPanel{0.22, 0.071, 0.055};
}  // namespace Theme

}  // namespace tolvane
