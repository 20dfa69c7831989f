#include "engine/AudioPlayerError.h"

#include <fmt/format.h>

namespace tolvane {

std::string AudioPlayerError::errorDescription() const {
  if (!status_) return text_;
  // The one status that says what the user can do: wait, or unplug the device.
  if (*status_ == kAudioHardwareNotReadyError) return text_ + " failed because the device does not answer.";
  return fmt::format("{} failed (Core Audio {}).", text_, *status_);
}

}  // namespace tolvane
