#pragma once
// A file that could not be prepared when it was last played. Values, shared by player and window.

#include <map>
#include <optional>
#include <string>

#include "engine/FailureContext.h"
#include "platform/AudioFileServices.h"
#include "platform/BilingualText.h"
#include "platform/FileURL.h"

namespace tolvane {

struct UnplayableFile {
  BilingualText detail;  ///< AudioPlayerError::errorDescription()
  FailureContext context;
  std::optional<FileVersion> version;  ///< the version that could not be prepared; nothing: no file was found

  bool operator==(const UnplayableFile&) const = default;
};

using UnplayableFileMap = std::map<FileURL, UnplayableFile>;

}  // namespace tolvane
