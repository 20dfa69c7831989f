#include "platform/alsa/facts/AlsaStatus.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace tolvane {
namespace {

TEST(AlsaStatus, SaysWhatEachErrorMeansForADevice) {
  const std::pair<long, OSStatus> table[] = {{0, noErr},
                                             {512, noErr},
                                             {-ENODEV, kAudioHardwareBadDeviceError},
                                             {-ENOENT, kAudioHardwareBadDeviceError},
                                             {-EBADFD, kAudioHardwareBadDeviceError},
                                             {-EBUSY, kAudioDevicePermissionsError},
                                             {-EAGAIN, kAudioDevicePermissionsError},
                                             {-EACCES, kAudioDevicePermissionsError},
                                             {-EINVAL, kAudioDeviceUnsupportedFormatError},
                                             {-EIO, kAudioHardwareUnspecifiedError},
                                             {-ENOMEM, kAudioHardwareUnspecifiedError}};
  for (const auto& [error, status] : table) EXPECT_EQ(statusFromAlsaError(error), status) << error;
}

TEST(AlsaStatus, PutsAnErrorIntoWordsWithItsNumber) {
  EXPECT_EQ(alsaErrorText(-EBUSY), "Device or resource busy (" + std::to_string(-EBUSY) + ")");
}

}  // namespace
}  // namespace tolvane
