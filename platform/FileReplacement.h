#pragma once
// Writing a file so that it is there whole or as it was before, whatever happens meanwhile. Waits for the disk; any
// thread that may.

#include <string_view>
#include <system_error>

#include "platform/FileURL.h"

namespace tolvane {

enum class Replacing {
  allowed,  ///< takes the place of a file that is there, and keeps its permissions
  refused   ///< std::errc::file_exists where there is one
};

/// Writes a new file beside the place and moves it there once it is stored; a link is followed. Nothing is left behind
/// by an error. Only regular files are replaced: std::errc::is_a_directory, std::errc::operation_not_supported.
[[nodiscard]] std::error_code writeFile(const FileURL& url, std::string_view bytes, Replacing replacing);

}  // namespace tolvane
