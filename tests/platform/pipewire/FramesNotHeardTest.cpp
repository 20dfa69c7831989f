#include "platform/pipewire/FramesNotHeard.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

TEST(FramesNotHeard, areFewerTheLongerTheHardwareHasPlayedOn) {
  EXPECT_EQ(framesNotHeard(2048, 48000, 0ms, 48000), 2048);
  EXPECT_EQ(framesNotHeard(2048, 48000, 10ms, 48000), 2048 - 480);
  EXPECT_EQ(framesNotHeard(2048, 48000, 42ms, 48000), 2048 - 2016);
  EXPECT_EQ(framesNotHeard(2048, 48000, 43ms, 48000), 0);
  EXPECT_EQ(framesNotHeard(2048, 48000, 10s, 48000), 0) << "the server was dead for long before anybody knew";
}

TEST(FramesNotHeard, areTheClientsFrames) {
  EXPECT_EQ(framesNotHeard(4800, 48000, 0ms, 96000), 9600);
  EXPECT_EQ(framesNotHeard(4800, 48000, 50ms, 44100), 2205);
  EXPECT_EQ(framesNotHeard(1, 48000, 0ms, 44100), 0) << "half a frame counts as heard";
}

TEST(FramesNotHeard, areNoneWhereTheGraphHasToldNothing) {
  EXPECT_EQ(framesNotHeard(0, 0, 0ms, 48000), 0);
  EXPECT_EQ(framesNotHeard(2048, 0, 0ms, 48000), 0);
}

}  // namespace
}  // namespace tolvane
