#include "platform/pipewire/record/RetakeObstacles.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr RunLoop::TimePoint moment{std::chrono::hours(7)};

TEST(RetakeObstacles, EaseOnceWhenAnotherProgramsStreamEnds) {
  RetakeObstacles obstacles;
  obstacles.attemptFailed({70, 80});
  EXPECT_FALSE(obstacles.haveEased({60, 70, 80}, {}, false, moment));
  EXPECT_TRUE(obstacles.haveEased({60, 80}, {}, false, moment));
  EXPECT_FALSE(obstacles.haveEased({60, 80}, {}, false, moment));
  EXPECT_TRUE(obstacles.haveEased({}, {}, false, moment));
  EXPECT_FALSE(obstacles.haveEased({}, {}, false, moment));
}

TEST(RetakeObstacles, DoNotEaseWithStreamsThatComeOrWereNotThere) {
  RetakeObstacles obstacles;
  EXPECT_FALSE(obstacles.haveEased({70}, {}, false, moment));
  EXPECT_FALSE(obstacles.haveEased({}, {}, false, moment));
  obstacles.attemptFailed({70});
  EXPECT_FALSE(obstacles.haveEased({70, 90}, {}, false, moment));
  EXPECT_FALSE(obstacles.haveEased({70}, {}, false, moment));
}

TEST(RetakeObstacles, EaseOnceWhenAStreamLeavesTheSinkForAnother) {
  RetakeObstacles obstacles;
  obstacles.attemptFailed({70, 80});
  EXPECT_FALSE(obstacles.haveEased({70, 80}, {}, false, moment)) << "the attempt took them off the sink";
  EXPECT_FALSE(obstacles.haveEased({70, 80}, {70, 80}, false, moment)) << "and they have come back";
  EXPECT_TRUE(obstacles.haveEased({70, 80}, {80}, false, moment));
  EXPECT_FALSE(obstacles.haveEased({70, 80}, {80}, false, moment));
  EXPECT_FALSE(obstacles.haveEased({70, 80}, {70, 80}, false, moment)) << "no obstacle of the attempt any more";
  obstacles.attemptFailed({80});
  EXPECT_FALSE(obstacles.haveEased({80}, {}, false, moment)) << "a new attempt takes it off anew";
}

TEST(RetakeObstacles, EaseWhenTheCardIsNoLongerOpenToAnotherProgram) {
  RetakeObstacles obstacles;
  obstacles.attemptFailed({});
  EXPECT_FALSE(obstacles.haveEased({}, {}, true, moment));
  EXPECT_FALSE(obstacles.haveEased({}, {}, true, moment + 500ms));
  EXPECT_TRUE(obstacles.haveEased({}, {}, false, moment + 1s));
  EXPECT_FALSE(obstacles.haveEased({}, {}, false, moment + 2s));
}

TEST(RetakeObstacles, DoNotEaseWhenACardOnlyOpensAnew) {
  RetakeObstacles obstacles;
  for (int i = 0; i < 10; ++i) {
    EXPECT_FALSE(obstacles.haveEased({}, {}, true, moment + i * 1s));
    EXPECT_FALSE(obstacles.haveEased({}, {}, false, moment + i * 1s + 999ms));
  }
}

TEST(RetakeObstacles, AreNotSeenInWhatAnAttemptItselfChanges) {
  RetakeObstacles obstacles;
  EXPECT_FALSE(obstacles.haveEased({70}, {}, true, moment));
  obstacles.attemptFailed({70});
  EXPECT_FALSE(obstacles.haveEased({70}, {}, false, moment + 5s));
  EXPECT_FALSE(obstacles.haveEased({70}, {}, true, moment + 6s));
  obstacles.stopLooking();
  EXPECT_FALSE(obstacles.haveEased({70}, {}, false, moment + 10s));
}

}  // namespace
}  // namespace tolvane
