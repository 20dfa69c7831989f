#pragma once
// Where the player keeps what survives a restart. Reads the environment; makes no folder.

#include <filesystem>

namespace tolvane {

/// tolvane-player below $XDG_DATA_HOME; below ~/.local/share where that is unset or no absolute path.
[[nodiscard]] std::filesystem::path storageFolder();

}  // namespace tolvane
