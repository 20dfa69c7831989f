#pragma once
// The cover picture of a folder. Reads the disk; any thread that may wait.

#include <stop_token>

#include "platform/MusicTags.h"

namespace tolvane {

/// cover, folder or front with the extension of a JPEG or PNG file, in upper or lower case, in the folder of `music`.
[[nodiscard]] std::optional<Cover> folderCover(const FileURL& music, const std::stop_token& stop);

}  // namespace tolvane
