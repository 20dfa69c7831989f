#include "platform/pipewire/RetakeObstacles.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr RunLoop::TimePoint now{std::chrono::hours(7)};

TEST(RetakeObstacles, EaseOnceWhenAnotherProgramsStreamEnds) {
  RetakeObstacles obstacles;
  obstacles.attemptFailed({70, 80});
  EXPECT_FALSE(obstacles.haveEased({60, 70, 80}, false, now));
  EXPECT_TRUE(obstacles.haveEased({60, 80}, false, now));
  EXPECT_FALSE(obstacles.haveEased({60, 80}, false, now));
  EXPECT_TRUE(obstacles.haveEased({}, false, now));
  EXPECT_FALSE(obstacles.haveEased({}, false, now));
}

TEST(RetakeObstacles, DoNotEaseWithStreamsThatComeOrWereNotThere) {
  RetakeObstacles obstacles;
  EXPECT_FALSE(obstacles.haveEased({70}, false, now));
  EXPECT_FALSE(obstacles.haveEased({}, false, now));
  obstacles.attemptFailed({70});
  EXPECT_FALSE(obstacles.haveEased({70, 90}, false, now));
  EXPECT_FALSE(obstacles.haveEased({70}, false, now));
}

TEST(RetakeObstacles, EaseWhenTheCardIsNoLongerOpenToAnotherProgram) {
  RetakeObstacles obstacles;
  obstacles.attemptFailed({});
  EXPECT_FALSE(obstacles.haveEased({}, true, now));
  EXPECT_FALSE(obstacles.haveEased({}, true, now + 500ms));
  EXPECT_TRUE(obstacles.haveEased({}, false, now + 1s));
  EXPECT_FALSE(obstacles.haveEased({}, false, now + 2s));
}

TEST(RetakeObstacles, DoNotEaseWhenACardOnlyOpensAnew) {
  RetakeObstacles obstacles;
  for (int i = 0; i < 10; ++i) {
    EXPECT_FALSE(obstacles.haveEased({}, true, now + i * 1s));
    EXPECT_FALSE(obstacles.haveEased({}, false, now + i * 1s + 999ms));
  }
}

TEST(RetakeObstacles, AreNotSeenInWhatAnAttemptItselfChanges) {
  RetakeObstacles obstacles;
  EXPECT_FALSE(obstacles.haveEased({70}, true, now));
  obstacles.attemptFailed({70});
  EXPECT_FALSE(obstacles.haveEased({70}, false, now + 5s));
  EXPECT_FALSE(obstacles.haveEased({70}, true, now + 6s));
  obstacles.stopLooking();
  EXPECT_FALSE(obstacles.haveEased({70}, false, now + 10s));
}

}  // namespace
}  // namespace tolvane
