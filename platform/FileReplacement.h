#pragma once
// Writes a file atomically: afterwards it has either its new or its old content, whatever happens meanwhile. Waits for
// the disk; any thread that may.

#include <string_view>
#include <system_error>

#include "platform/FileURL.h"

namespace tolvane {

enum class Replacing {
  allowed,  ///< replaces an existing file and keeps its permissions
  refused   ///< std::errc::file_exists if the file exists
};

/// Writes a new file next to the destination and renames it when it is stored; links are followed. An error leaves
/// nothing behind. Only regular files are replaced: std::errc::is_a_directory, std::errc::operation_not_supported.
[[nodiscard]] std::error_code writeFile(const FileURL& url, std::string_view bytes, Replacing replacing);

}  // namespace tolvane
