// What a player costs while nobody looks: timers, and so wake-ups of the processor.

#include <gtest/gtest.h>

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

class UnwatchedTime : public ProxyFixture {
 protected:
  UnwatchedTime() {
    load(1);
    idle = runLoop.pendingTimerCount();
    changes = proxy.onChange([this](const SessionState&, const SessionState&) { ++changeCount; });
  }

  void play() {
    proxy.playTrack(0, 0);
    settle();
    ASSERT_TRUE(state().isPlaying);
    changeCount = 0;
  }

  std::size_t idle = 0;  // timers of a player that has nothing to do
  int changeCount = 0;
  Subscription changes;
};

TEST_F(UnwatchedTime, DoesNotAdvanceThePositionByItself) {
  play();
  advance(1);
  EXPECT_GE(changeCount, 20);
  proxy.watchTime(false);
  settle();
  changeCount = 0;
  advance(3);
  EXPECT_EQ(changeCount, 0) << "the player has nothing new to say";
  proxy.updatePlaybackPosition();
  EXPECT_NEAR(state().position, 4, 1e-9) << "asked for, it is right";
}

TEST_F(UnwatchedTime, IsRightAtOnceWhenItIsWatchedAgain) {
  play();
  proxy.watchTime(false);
  advance(2.5);
  proxy.watchTime(true);
  EXPECT_NEAR(state().position, 2.5, 1e-9);
  const int before = changeCount;
  advance(1);
  EXPECT_GE(changeCount, before + 20);
}

TEST_F(UnwatchedTime, StillObservesThePlayer) {
  play();
  proxy.watchTime(false);
  proxy.seek(6);
  settle();
  EXPECT_NEAR(state().position, 6, 0.05);
  proxy.setPlaying(false);
  settle();
  EXPECT_FALSE(state().isPlaying);
  EXPECT_TRUE(state().isPaused);
}

TEST_F(UnwatchedTime, CostsNoTimersInTheWindow) {
  play();
  const auto watched = runLoop.pendingTimerCount();
  proxy.watchTime(false);
  EXPECT_EQ(runLoop.pendingTimerCount(), watched - 2)
      << "the position's, and the one that notices a player without answers";
  proxy.watchTime(true);
  EXPECT_EQ(runLoop.pendingTimerCount(), watched);
}

TEST_F(UnwatchedTime, IsKeptHalfAsOftenByThePlayer) {
  play();
  const auto turnsOf = [this](double seconds) {
    int turns = 0;
    const auto counted = session.playbackPosition().subscribe([&](double) { ++turns; });
    advance(seconds);
    return turns;
  };
  EXPECT_EQ(turnsOf(2), 40);
  proxy.watchTime(false);
  settle();
  EXPECT_EQ(turnsOf(2), 20);
  proxy.watchTime(true);
  settle();
  EXPECT_EQ(turnsOf(2), 40);
}

TEST_F(UnwatchedTime, APausedPlayerKeepsNoTimeAtAll) {
  play();
  proxy.setPlaying(false);
  settle();
  ASSERT_TRUE(state().isPaused);
  const auto before = runLoop.pendingTimerCount();
  proxy.setPlaying(true);
  settle();
  EXPECT_GE(runLoop.pendingTimerCount(), before + 2) << "the window's and the session's";
  proxy.stopPlayback();
  settle();
  EXPECT_EQ(runLoop.pendingTimerCount(), idle);
}

}  // namespace
}  // namespace tolvane
