#pragma once
// Music for the demo: a few short pieces of soft tones, written as WAV files. Any thread; touches one folder only.

#include <filesystem>
#include <vector>

#include "platform/FileURL.h"

namespace tolvane {

/// Writes the pieces into the folder and returns them in playing order. Throws std::runtime_error with the file's name
/// when one cannot be written.
[[nodiscard]] std::vector<FileURL> writeDemoMusic(const std::filesystem::path& folder);

}  // namespace tolvane
