#include "platform/alsa/facts/AlsaStatus.h"

#include <alsa/asoundlib.h>

#include <cerrno>

namespace tolvane {
namespace {

void ignoreError(const char* /*file*/, int /*line*/, const char* /*function*/, int /*error*/, const char* /*format*/,
                 ...) {}

}  // namespace

OSStatus statusFromAlsaError(long error) noexcept {
  if (error >= 0) return noErr;
  switch (-error) {
    case ENODEV:  // unplugged while in use
    case ENOENT:  // unplugged before
    case ENXIO:   // unplugged while it was being opened
    case EBADFD:  // the state a transfer finds when the card was pulled in the middle of it
    case ENOTTY:  // a control call to a card that is going away
      return kAudioHardwareBadDeviceError;
    case EBUSY:
    case EAGAIN:  // a non-blocking open that finds every substream taken
    case EACCES:
    case EPERM:
      return kAudioDevicePermissionsError;
    case EINVAL:
      return kAudioDeviceUnsupportedFormatError;
    default:
      return kAudioHardwareUnspecifiedError;
  }
}

std::string alsaErrorText(long error) {
  return std::string(snd_strerror(static_cast<int>(error))) + " (" + std::to_string(error) + ")";
}

void silenceAlsaLibrary() { snd_lib_error_set_handler(&ignoreError); }

}  // namespace tolvane
