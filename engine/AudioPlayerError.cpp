#include "engine/AudioPlayerError.h"

namespace tolvane {

BilingualText AudioPlayerError::errorDescription() const {
  if (!status_) return text_;
  // Statuses with a remedy for the user: wait for the device or unplug it; choose another device.
  if (*status_ == kAudioHardwareNotReadyError) return bilingual("{} failed because the device does not answer.", text_);
  if (*status_ == kAudioDeviceUnsupportedFormatError || *status_ == kAudioUnitErr_FormatNotSupported)
    return bilingual("{} failed because the device has no format for the track's sample rate and channels.", text_);
  return bilingual("{} failed (Core Audio {}).", text_, *status_);
}

}  // namespace tolvane
