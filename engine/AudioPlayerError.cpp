#include "engine/AudioPlayerError.h"

#include <fmt/format.h>

namespace tolvane {

std::string AudioPlayerError::errorDescription() const {
  return status_ ? fmt::format("{} failed (Core Audio {}).", text_, *status_) : text_;
}

}  // namespace tolvane
