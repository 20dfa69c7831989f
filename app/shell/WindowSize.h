#pragma once
// The remembered size of the player's window. Values; window's thread.

#include "platform/UserDefaults.h"

namespace tolvane {

/// The window's frame, in points.
struct WindowSize {
  double width = 600;
  double height = 700;

  bool operator==(const WindowSize&) const = default;
};

/// 600 by 700 when there is no record, or none that can be read.
[[nodiscard]] WindowSize loadSavedWindowSize(const UserDefaults& defaults);

/// A size that cannot be stored (one that is not finite) leaves no record at all.
void save(const WindowSize& size, UserDefaults& defaults);

}  // namespace tolvane
