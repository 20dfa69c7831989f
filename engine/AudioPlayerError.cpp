#include "engine/AudioPlayerError.h"

#include <fmt/format.h>

namespace tolvane {

AudioPlayerError AudioPlayerError::operation(std::string_view stage, OSStatus status) {
  return AudioPlayerError(fmt::format("{} failed (Core Audio {}).", stage, status));
}

}  // namespace tolvane
