#include "engine/AudioPlayerError.h"

#include <fmt/format.h>

namespace tolvane {

std::string AudioPlayerError::errorDescription() const {
  if (!status_) return text_;
  // Statuses with a remedy for the user: wait for the device or unplug it; choose another device.
  if (*status_ == kAudioHardwareNotReadyError) return text_ + " failed because the device does not answer.";
  if (*status_ == kAudioDeviceUnsupportedFormatError || *status_ == kAudioUnitErr_FormatNotSupported)
    return text_ + " failed because the device has no format for the track's sample rate and channels.";
  return fmt::format("{} failed (Core Audio {}).", text_, *status_);
}

}  // namespace tolvane
