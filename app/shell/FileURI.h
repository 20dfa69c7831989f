#pragma once
// What the desktop hands over when files are to be opened: URIs, or paths on a command line. Pure functions.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// Nothing for other schemes, other machines, relative paths, broken percent-encoding, encoded NULs, and paths of
/// PATH_MAX bytes and more, which no system call takes. What the path names need not be UTF-8, and need not exist.
[[nodiscard]] std::optional<FileURL> fileURLFromURI(std::string_view uri);

/// Asks the disk; follows links. False for folders, devices and pipes, and for what does not exist or cannot be
/// reached.
[[nodiscard]] bool isRegularFile(const FileURL& file);

struct FileArguments {
  std::vector<FileURL> urls;
  std::optional<std::string> complaint;  ///< what is wrong with the first argument that is no file; a full sentence
};

/// URIs and paths, those relative to the working directory. None is an option here; behind "--" none looks like one.
[[nodiscard]] FileArguments fileArguments(std::span<const std::string> arguments, std::string_view workingDirectory);

}  // namespace tolvane
