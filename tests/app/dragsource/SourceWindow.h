#pragma once
// What the window of drag_source looks like: the same for the program and for the test that looks for it.

#include <cstdint>

namespace tolvane::test::source {

inline constexpr int side = 90;                    ///< units of length
inline constexpr int place = 10;                   ///< from the screen's left and top, where a program may say so
inline constexpr std::uint32_t colour = 0xFF00FF;  ///< no colour of the player's

}  // namespace tolvane::test::source
