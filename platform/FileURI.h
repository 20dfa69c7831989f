#pragma once
// The file that a URI names, as desktops and playlists write it. Pure; any thread.

#include <optional>
#include <string_view>

#include "platform/FileURL.h"

namespace tolvane {

/// Nothing for other schemes, other machines, relative paths, broken percent-encoding, encoded NULs, and paths of
/// PATH_MAX bytes and more, which no system call takes. What the path names need not be UTF-8, and need not exist.
[[nodiscard]] std::optional<FileURL> fileURLFromURI(std::string_view uri);

}  // namespace tolvane
