#include "platform/pipewire/FramesNotHeard.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""us;
using std::chrono_literals::operator""s;

TEST(FramesNotHeard, areFewerTheLongerTheHardwareHasPlayedOn) {
  EXPECT_EQ(framesNotHeard(2528, 48000, 0ms, 48000), 2048);
  EXPECT_EQ(framesNotHeard(2528, 48000, 10ms, 48000), 2048 - 480);
  EXPECT_EQ(framesNotHeard(2528, 48000, 42ms, 48000), 2048 - 2016);
  EXPECT_EQ(framesNotHeard(2528, 48000, 43ms, 48000), 0);
  EXPECT_EQ(framesNotHeard(2048, 48000, 10s, 48000), 0) << "the server was dead for long before anybody knew";
}

TEST(FramesNotHeard, areNoneOfThoseThatACardHasPlayedSinceItsLastStep) {
  // The loopback card reports its position by the tick of the kernel, here just before the next one.
  constexpr std::int64_t tick = 192;
  constexpr std::int64_t reported = 2400;
  int moments = 0;
  for (auto since = 0us; since < 45ms; since += 100us, ++moments) {
    const auto ticks = 1 + since / 4ms;
    EXPECT_LE(framesNotHeard(reported, 48000, since, 48000), std::max<std::int64_t>(reported - ticks * tick, 0));
  }
  EXPECT_EQ(moments, 450);
}

TEST(FramesNotHeard, areTheClientsFrames) {
  EXPECT_EQ(framesNotHeard(5280, 48000, 0ms, 96000), 9600);
  EXPECT_EQ(framesNotHeard(5280, 48000, 50ms, 44100), 2205);
  EXPECT_EQ(framesNotHeard(481, 48000, 0ms, 44100), 0) << "half a frame counts as heard";
}

TEST(FramesNotHeard, areNoneWhereTheGraphHasToldNothing) {
  EXPECT_EQ(framesNotHeard(0, 48000, 0ms, 48000), 0);
  EXPECT_EQ(framesNotHeard(0, 0, 0ms, 48000), 0);
  EXPECT_EQ(framesNotHeard(2048, 0, 0ms, 48000), 0);
}

}  // namespace
}  // namespace tolvane
