#include "platform/alsa/pcm/AlsaPcm.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(AlsaPcm, WantsARingOfAboutASixthOfASecond) {
  EXPECT_EQ(desiredRingFrames(44100), 8192U);
  EXPECT_EQ(desiredRingFrames(192000), 32768U);
  EXPECT_EQ(desiredRingFrames(0), 1U);
}

TEST(AlsaPcm, CoversTheRingAndTheSilenceAfterItAtAnEnd) {
  EXPECT_EQ(halfDrainFrames(8192, 2048, 44100, 44100), (8192U + 2048U) / 2);
  EXPECT_EQ(halfDrainFrames(8192, 512, 44100, 44100), (8192U + 2048U) / 2) << "never less silence than this";
  EXPECT_EQ(halfDrainFrames(32768, 8192, 192000, 192000), (32768U + 8192U) / 2);
}

TEST(AlsaPcm, CountsTheEndInTheClientsFramesWhereTheDeviceIsSlower) {
  EXPECT_EQ(halfDrainFrames(8192, 2048, 48000, 96000), 8192U + 2048U);
  EXPECT_EQ(halfDrainFrames(8192, 2048, 44100, 48000), 5573U) << "5572.8, rounded up";
  EXPECT_EQ(halfDrainFrames(8192, 2048, 96000, 48000), (8192U + 2048U) / 2) << "never less than the device's own";
}

}  // namespace
}  // namespace tolvane
