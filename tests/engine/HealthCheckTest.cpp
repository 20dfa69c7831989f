// The health checks' edges: how many make a player healthy again, and which clock they go by.

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

constexpr RunLoop::Duration interval = 500ms;

class HealthCheckTest : public PlayerFixture {
 protected:
  [[nodiscard]] std::uint64_t recoveries() const { return player->statistics().recoveries; }

  /// A player that has used all of its three attempts, the last of them just now.
  void exhaustAttempts() {
    player->play(track);
    for (int attempt = 0; attempt < 3; ++attempt) {
      device(id).raiseRenderError(-1);
      advance(interval);
    }
    ASSERT_EQ(recoveries(), 3U);
    ASSERT_TRUE(isPlaying());
  }
  /// Lets so many healthy checks pass, and then an error be found by the one that follows. The check after a recovery
  /// has nothing to compare with, and so is none of them.
  void failAfter(int healthyChecks) {
    advance((healthyChecks + 1) * interval + interval / 2);
    device(id).raiseRenderError(-1);
    advance(interval);
  }

  AudioObjectID id = addDevice();
  FileURL track = addTrack("/long.wav", 44100 * 120);
};

TEST_F(HealthCheckTest, FiftyNineHealthyOnesGiveNoAttemptBack) {
  exhaustAttempts();
  failAfter(59);
  EXPECT_EQ(recoveries(), 3U);
  EXPECT_EQ(path().label, "PATH ERROR");
  EXPECT_FALSE(isPlaying());
}

TEST_F(HealthCheckTest, SixtyHealthyOnesGiveAllAttemptsBack) {
  exhaustAttempts();
  failAfter(60);
  EXPECT_EQ(recoveries(), 4U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(HealthCheckTest, AStalledOneMakesTheCountBeginAgain) {
  exhaustAttempts();
  advance(31 * interval);
  device(id).stall();
  advance(interval * 2);
  device(id).goOn();
  failAfter(31);
  EXPECT_EQ(recoveries(), 3U);
  EXPECT_EQ(path().label, "PATH ERROR");
}

TEST_F(HealthCheckTest, TheFirstByAnotherClockComparesNothing) {
  player->play(track);
  advance(interval * 2 + 1ms);
  device(id).stall();
  // Each clock is read for the first time, or for the first time again: nothing is known of its progress.
  for (int check = 0; check < 20; ++check) {
    device(id).setSampleTimeReadable(check % 2 == 1);
    advance(interval);
  }
  EXPECT_EQ(recoveries(), 0U);
  // By one and the same clock three stalled checks are enough.
  advance(interval * 2);
  EXPECT_EQ(recoveries(), 0U);
  advance(interval);
  EXPECT_EQ(recoveries(), 1U);
}

}  // namespace
}  // namespace tolvane
