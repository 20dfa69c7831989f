#pragma once
// Why a file could not be prepared for playback, and which version of the file. A value.

#include <optional>

#include "engine/AudioPlayerError.h"
#include "platform/AudioFileServices.h"
#include "platform/FileURL.h"

namespace tolvane {

struct PreparationFailure {
  FileURL url;
  AudioPlayerError error;
  std::optional<FileVersion> version;  ///< when the preparation began; nothing: no file was found
};

}  // namespace tolvane
