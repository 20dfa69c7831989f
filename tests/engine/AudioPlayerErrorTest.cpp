#include "engine/AudioPlayerError.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(AudioPlayerError, ShowsAMessageAsItIs) {
  EXPECT_EQ(AudioPlayerError::message("The decoder returned an empty track.").errorDescription(),
            "The decoder returned an empty track.");
}

TEST(AudioPlayerError, ShowsAnOperationWithItsStatusInSignedDecimal) {
  EXPECT_EQ(AudioPlayerError::operation("Decoding the track", kAudio_ParamError).errorDescription(),
            "Decoding the track failed (Core Audio -50).");
  EXPECT_EQ(AudioPlayerError::operation("Opening MP3", kAudioFileFileNotFoundError).errorDescription(),
            "Opening MP3 failed (Core Audio -43).");
  EXPECT_EQ(AudioPlayerError::operation("Opening FLAC", kAudioFileUnsupportedFileTypeError).errorDescription(),
            "Opening FLAC failed (Core Audio 1954115647).");
}

TEST(AudioPlayerError, SaysInWordsThatADeviceDoesNotAnswer) {
  EXPECT_EQ(
      AudioPlayerError::operation("Initializing the output device", kAudioHardwareNotReadyError).errorDescription(),
      "Initializing the output device failed because the device does not answer.");
}

TEST(AudioPlayerError, SaysInWordsThatADeviceHasNoFormatForTheTrack) {
  for (const OSStatus status :
       {OSStatus{kAudioDeviceUnsupportedFormatError}, OSStatus{kAudioUnitErr_FormatNotSupported}})
    EXPECT_EQ(AudioPlayerError::operation("Initializing the output device", status).errorDescription(),
              "Initializing the output device failed because the device has no format for the track's sample rate and "
              "channels.");
}

}  // namespace
}  // namespace tolvane
