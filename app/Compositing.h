#pragma once
// Whether the transparent parts of a window show what is behind it, on the display that Qt uses. Window's thread.

namespace tolvane {

/// False on an X server without a compositor, where clear parts are black. True on any other platform.
[[nodiscard]] bool isComposited();

}  // namespace tolvane
