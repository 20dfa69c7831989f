#pragma once
// The files and folders of a command line, as URIs or paths. Pure, but for isRegularFile().

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

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
