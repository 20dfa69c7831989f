#include "platform/pipewire/record/RetakePause.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using std::chrono_literals::operator""min;
using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;

constexpr RunLoop::TimePoint firstFailure{std::chrono::hours(7)};

TEST(RetakePause, IsOverBeforeAnythingHasFailed) { EXPECT_TRUE(RetakePause().isOver(RunLoop::TimePoint())); }

TEST(RetakePause, IsTwiceAsLongAfterEachFailureUpToEightMinutes) {
  RetakePause pause;
  RunLoop::TimePoint now = firstFailure;
  for (const RunLoop::Duration length : {RunLoop::Duration(30s), RunLoop::Duration(1min), RunLoop::Duration(2min),
                                         RunLoop::Duration(4min), RunLoop::Duration(8min), RunLoop::Duration(8min)}) {
    pause.attemptFailed(now);
    EXPECT_FALSE(pause.isOver(now + length - 1ns));
    now += length;
    EXPECT_TRUE(pause.isOver(now));
  }
}

TEST(RetakePause, CountsWhatIsLeft) {
  RetakePause pause;
  EXPECT_EQ(pause.left(firstFailure), 0s);
  pause.attemptFailed(firstFailure);
  EXPECT_EQ(pause.left(firstFailure), 30s);
  EXPECT_EQ(pause.left(firstFailure + 29s), 1s);
  EXPECT_EQ(pause.left(firstFailure + 31s), 0s);
}

TEST(RetakePause, StaysAtItsLongestHoweverManyAttemptsFail) {
  RetakePause pause;
  for (int i = 0; i < 200; ++i) pause.attemptFailed(firstFailure);
  EXPECT_FALSE(pause.isOver(firstFailure + RetakePause::longest - 1ns));
  EXPECT_TRUE(pause.isOver(firstFailure + RetakePause::longest));
}

TEST(RetakePause, BeginsAnewWhenTheObstacleHasGone) {
  RetakePause pause;
  for (int i = 0; i < 5; ++i) pause.attemptFailed(firstFailure);
  pause.reset();
  EXPECT_TRUE(pause.isOver(firstFailure));
  pause.attemptFailed(firstFailure);
  EXPECT_FALSE(pause.isOver(firstFailure + RetakePause::first - 1ns));
  EXPECT_TRUE(pause.isOver(firstFailure + RetakePause::first));
}

}  // namespace
}  // namespace tolvane
