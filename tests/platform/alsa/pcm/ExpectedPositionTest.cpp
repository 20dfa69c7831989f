#include "platform/alsa/pcm/ExpectedPosition.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr double rate = 48000;
constexpr std::int64_t period = 2048;
constexpr RunLoop::Duration lookedAt = 100s;

PositionLook look(std::int64_t played, std::int64_t written) {
  return {.played = played,
          .written = written,
          .zeroAt = zeroOf(lookedAt, played, rate),
          .mostAhead = period,
          .rate = rate};
}

TEST(ExpectedPosition, GoesOnWithTheClock) {
  const auto last = look(1'000'000, 1'008'192);
  EXPECT_EQ(expectedPosition(last, lookedAt), 1'000'000);
  EXPECT_NEAR(static_cast<double>(expectedPosition(last, lookedAt + 10ms)), 1'000'480, 1);
  EXPECT_NEAR(static_cast<double>(expectedPosition(last, lookedAt + 42ms)), 1'002'016, 1);
}

TEST(ExpectedPosition, StandsWhenTheDeviceHasNotBeenAskedForAPeriod) {
  EXPECT_EQ(expectedPosition(look(1'000'000, 1'008'192), lookedAt + 10s), 1'000'000 + period);
}

TEST(ExpectedPosition, StandsAtTheLastFrameOfADryRing) {
  EXPECT_EQ(expectedPosition(look(5000, 5100), lookedAt + 40ms), 5100);
  EXPECT_EQ(expectedPosition(look(5000, 5000), lookedAt + 40ms), 5000);
}

TEST(ExpectedPosition, IsNeverBehindTheLastLook) {
  auto torn = look(5000, 9000);
  torn.zeroAt += 30ms;  // of a later look
  EXPECT_EQ(expectedPosition(torn, lookedAt), 5000);
  torn.written = 4000;
  EXPECT_EQ(expectedPosition(torn, lookedAt + 1s), 5000);
}

}  // namespace
}  // namespace tolvane
