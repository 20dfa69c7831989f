#pragma once
// Where the player keeps data that survives a restart, and caches. Reads the environment; makes no folder.

#include <filesystem>

namespace tolvane {

/// tolvane-player below $XDG_DATA_HOME; below ~/.local/share where that is unset or no absolute path.
[[nodiscard]] std::filesystem::path storageFolder();

/// tolvane-player below $XDG_CACHE_HOME; below ~/.cache where that is unset or no absolute path.
[[nodiscard]] std::filesystem::path cacheFolder();

}  // namespace tolvane
