#include "platform/pipewire/server/HeardFrames.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""us;
using std::chrono_literals::operator""s;

constexpr std::uint32_t rate = 48000;
constexpr std::int64_t cycle = 1024;
constexpr RunLoop::Duration now = 5s;

/// Of a sink with `left` frames to play, of which `rendered` are the run's, and that goes `since` later.
std::int64_t unheard(std::int64_t left, std::uint32_t graphRate, RunLoop::Duration since, std::int64_t rendered,
                     std::uint32_t clientRate) {
  const auto first = firstFrameHeardAt(now, left, graphRate, rendered, clientRate);
  return rendered - framesHeardAtMost(first, now + since, rendered, clientRate);
}

TEST(HeardFrames, AreTheRenderedOnesWithoutWhatTheHardwareHasLeft) {
  const auto first = firstFrameHeardAt(now, 2048, rate, 4 * cycle, rate);
  const std::int64_t rendered = 5 * cycle;
  EXPECT_EQ(framesHeard(first, now, rendered, rate), 2048);
  EXPECT_EQ(framesHeard(first, now + 10ms, rendered, rate), 2048 + 480);
  EXPECT_EQ(framesHeard(first, now - 100ms, rendered, rate), 0);
}

TEST(HeardFrames, StandStillWhenTheGraphAsksForNoMore) {
  const auto first = firstFrameHeardAt(now, 2048, rate, 4 * cycle, rate);
  EXPECT_EQ(framesHeard(first, now + 10s, 5 * cycle, rate), 5 * cycle);
  EXPECT_EQ(framesHeardAtMost(first, now + 10s, 5 * cycle, rate), 5 * cycle);
}

TEST(HeardFrames, GoOnEvenlyFromCycleToCycle) {
  std::int64_t last = -1;
  int looks = 0;
  for (int number = 0; number < 100; ++number) {
    const auto began = now + std::chrono::nanoseconds(number * cycle * 1'000'000'000 / rate);
    const auto first = firstFrameHeardAt(began, 2 * cycle, rate, number * cycle, rate);
    for (const auto since : {0ms, 10ms, 20ms}) {
      const std::int64_t heard = framesHeard(first, began + since, (number + 1) * cycle, rate);
      const std::int64_t wanted = std::max<std::int64_t>((number - 2) * cycle + since.count() * 48, 0);
      EXPECT_NEAR(static_cast<double>(heard), static_cast<double>(wanted), 1);
      EXPECT_GE(heard, last);
      last = heard;
      ++looks;
    }
  }
  EXPECT_EQ(looks, 300);
}

TEST(HeardFrames, AreTheClientsAndNotTheGraphs) {
  const auto first = firstFrameHeardAt(now, 4800, 48000, 19200, 96000);
  EXPECT_EQ(framesHeard(first, now, 19200, 96000), 9600);
  EXPECT_EQ(framesHeard(first, now + 50ms, 19200, 96000), 14400);
}

TEST(FramesNotHeard, AreFewerTheLongerTheHardwareHasPlayedOn) {
  EXPECT_EQ(unheard(2528, rate, 0ms, 4096, rate), 2048);
  EXPECT_EQ(unheard(2528, rate, 10ms, 4096, rate), 2048 - 480);
  EXPECT_EQ(unheard(2528, rate, 42ms, 4096, rate), 2048 - 2016);
  EXPECT_EQ(unheard(2528, rate, 43ms, 4096, rate), 0);
  EXPECT_EQ(unheard(2048, rate, 10s, 4096, rate), 0) << "the server had been dead for long when the player noticed";
}

TEST(FramesNotHeard, AreNoneOfThoseThatACardHasPlayedSinceItsLastStep) {
  // The loopback card reports its position by the tick of the kernel, here just before the next one.
  constexpr std::int64_t tick = 192;
  constexpr std::int64_t reported = 2400;
  int moments = 0;
  for (auto since = 0us; since < 45ms; since += 100us, ++moments) {
    const auto ticks = 1 + since / 4ms;
    EXPECT_LE(unheard(reported, rate, since, 4800, rate), std::max<std::int64_t>(reported - ticks * tick, 0));
  }
  EXPECT_EQ(moments, 450);
}

TEST(FramesNotHeard, AreTheClientsFrames) {
  EXPECT_EQ(unheard(5280, 48000, 0ms, 19200, 96000), 9600);
  EXPECT_EQ(unheard(5280, 48000, 50ms, 19200, 44100), 2205);
  EXPECT_EQ(unheard(481, 48000, 0ms, 4800, 44100), 0) << "half a frame counts as heard";
}

}  // namespace
}  // namespace tolvane
