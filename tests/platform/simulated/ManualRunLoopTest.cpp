#include "platform/simulated/ManualRunLoop.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using testing::ElementsAre;
using testing::IsEmpty;

class ManualRunLoopTest : public testing::Test {
 protected:
  RunLoop::Action noting(const std::string& what) {
    return [this, what] { noted_.push_back(what + "@" + std::to_string((loop_.now() - begin_) / 1ms)); };
  }

  ManualRunLoop loop_;
  const RunLoop::TimePoint begin_ = loop_.now();
  std::vector<std::string> noted_;
};

TEST_F(ManualRunLoopTest, TimeStandsStillUntilItIsMoved) {
  EXPECT_EQ(loop_.now(), begin_);
  loop_.runUntilIdle();
  EXPECT_EQ(loop_.now(), begin_);
  loop_.advance(250ms);
  EXPECT_EQ(loop_.now(), begin_ + 250ms);
  loop_.advance(-1s);
  EXPECT_EQ(loop_.now(), begin_ + 250ms);
}

TEST_F(ManualRunLoopTest, TimersFireInOrderOfTimeThenOfRequest) {
  const auto late = loop_.scheduleTimer(30ms, false, noting("late"));
  const auto first = loop_.scheduleTimer(10ms, false, noting("first"));
  const auto second = loop_.scheduleTimer(10ms, false, noting("second"));
  const auto atOnce = loop_.scheduleTimer(-5ms, false, noting("at once"));
  loop_.advance(29ms);
  EXPECT_THAT(noted_, ElementsAre("at once@0", "first@10", "second@10"));
  loop_.advance(1ms);
  EXPECT_EQ(noted_.back(), "late@30");
}

TEST_F(ManualRunLoopTest, ARepeatingTimerKeepsItsBeat) {
  const auto timer = loop_.scheduleTimer(10ms, true, noting("beat"));
  loop_.advance(35ms);
  EXPECT_THAT(noted_, ElementsAre("beat@10", "beat@20", "beat@30"));
}

TEST_F(ManualRunLoopTest, ARepeatingTimerThatFellBehindFiresOnce) {
  const auto timer = loop_.scheduleTimer(10ms, true, noting("beat"));
  loop_.sleepFor(47ms);
  EXPECT_THAT(noted_, IsEmpty());
  loop_.advance(13ms);
  EXPECT_THAT(noted_, ElementsAre("beat@47", "beat@50", "beat@60"));
}

TEST_F(ManualRunLoopTest, DestroyingATimerEndsIt) {
  auto once = loop_.scheduleTimer(10ms, false, noting("once"));
  auto beat = loop_.scheduleTimer(10ms, true, noting("beat"));
  EXPECT_EQ(loop_.pendingTimerCount(), 2U);
  once.reset();
  loop_.advance(10ms);
  beat.reset();
  EXPECT_EQ(loop_.pendingTimerCount(), 0U);
  loop_.advance(1s);
  EXPECT_THAT(noted_, ElementsAre("beat@10"));
}

TEST_F(ManualRunLoopTest, ATimerMayDestroyItselfOrAnotherThatIsDueAtTheSameMoment) {
  RunLoop::Timer self;
  RunLoop::Timer other;
  self = loop_.scheduleTimer(10ms, true, [&] {
    noting("self")();
    other.reset();
    self.reset();
  });
  other = loop_.scheduleTimer(10ms, true, noting("other"));
  loop_.advance(100ms);
  EXPECT_THAT(noted_, ElementsAre("self@10"));
  EXPECT_EQ(loop_.pendingTimerCount(), 0U);
}

TEST_F(ManualRunLoopTest, ATimerMayBeReplacedFromWithinItsAction) {
  RunLoop::Timer timer;
  timer = loop_.scheduleTimer(10ms, false, [&] {
    noting("first")();
    timer = loop_.scheduleTimer(10ms, false, noting("second"));
  });
  loop_.advance(50ms);
  EXPECT_THAT(noted_, ElementsAre("first@10", "second@20"));
}

TEST_F(ManualRunLoopTest, ATimerMayOutliveTheLoop) {
  RunLoop::Timer timer;
  RunLoop::Timer watch;
  {
    ManualRunLoop loop;
    timer = loop.scheduleTimer(1s, true, [] {});
    watch = loop.watchDescriptor(3, [] {});
  }
  timer.reset();
  watch.reset();
}

TEST_F(ManualRunLoopTest, PostedActionsRunInLaterTurnsInTheirOrder) {
  loop_.post([this] {
    noting("first")();
    loop_.post(noting("third"));
  });
  loop_.post(noting("second"));
  EXPECT_THAT(noted_, IsEmpty());
  loop_.runUntilIdle();
  EXPECT_THAT(noted_, ElementsAre("first@0", "second@0", "third@0"));
  EXPECT_EQ(loop_.turnCount(), 3U);
}

TEST_F(ManualRunLoopTest, ATimerAndAPostedActionOfOneMomentRunInOrderOfRequest) {
  const auto before = loop_.scheduleTimer(0ms, false, noting("timer before"));
  loop_.post(noting("posted"));
  const auto after = loop_.scheduleTimer(0ms, false, noting("timer after"));
  loop_.runUntilIdle();
  EXPECT_THAT(noted_, ElementsAre("timer before@0", "posted@0", "timer after@0"));
}

TEST_F(ManualRunLoopTest, OtherThreadsMayPost) {
  int sum = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int k = 0; k < 1000; ++k) loop_.post([&sum] { ++sum; });
    });
  }
  for (int k = 0; k < 100; ++k) loop_.advance(1ms);
  for (auto& thread : threads) thread.join();
  loop_.runUntilIdle();
  EXPECT_EQ(sum, 4000);
}

TEST_F(ManualRunLoopTest, SleepingMovesTimeAndLetsOnlyTheHardwareAct) {
  const auto timer = loop_.scheduleTimer(5ms, false, noting("timer"));
  loop_.post(noting("posted"));
  loop_.scheduleHardwareAfter(7ms, [this] {
    noting("hardware")();
    loop_.post(noting("notified"));
  });
  loop_.sleepFor(20ms);
  EXPECT_EQ(loop_.now(), begin_ + 20ms);
  EXPECT_THAT(noted_, ElementsAre("hardware@7"));
  loop_.runUntilIdle();
  EXPECT_THAT(noted_, ElementsAre("hardware@7", "posted@20", "timer@20", "notified@20"));
}

TEST_F(ManualRunLoopTest, HardwareThatIsDueAtTheSameMomentActsFirst) {
  const auto timer = loop_.scheduleTimer(10ms, false, noting("timer"));
  loop_.scheduleHardware(begin_ + 10ms, noting("hardware"));
  loop_.advance(10ms);
  EXPECT_THAT(noted_, ElementsAre("hardware@10", "timer@10"));
}

TEST_F(ManualRunLoopTest, AnAlarmIsSetMovedAndCleared) {
  int rings = 0;
  const auto alarm = loop_.makeHardwareAlarm([&] { ++rings; });
  alarm->set(begin_ + 10ms);
  alarm->set(begin_ + 30ms);
  loop_.advance(20ms);
  EXPECT_EQ(rings, 0);
  loop_.advance(10ms);
  EXPECT_EQ(rings, 1);
  alarm->set(begin_);
  loop_.runUntilIdle();
  EXPECT_EQ(rings, 2);
  alarm->set(begin_ + 1s);
  alarm->clear();
  loop_.advance(2s);
  EXPECT_EQ(rings, 2);
}

TEST_F(ManualRunLoopTest, AnActionMayAdvanceAndSleepItself) {
  const auto timer = loop_.scheduleTimer(10ms, false, [this] {
    loop_.sleepFor(5ms);
    noting("slept")();
    loop_.advance(10ms);
    noting("advanced")();
  });
  const auto inner = loop_.scheduleTimer(20ms, false, noting("inner"));
  loop_.advance(15ms);
  EXPECT_THAT(noted_, ElementsAre("slept@15", "inner@20", "advanced@25"));
  EXPECT_EQ(loop_.now(), begin_ + 25ms);
}

TEST_F(ManualRunLoopTest, ItAdvancesUntilAConditionHoldsAndNoFurther) {
  const auto timer = loop_.scheduleTimer(10ms, true, noting("beat"));
  EXPECT_TRUE(loop_.advanceUntil([this] { return noted_.size() == 3; }, 1s));
  EXPECT_EQ(loop_.now(), begin_ + 30ms);
  EXPECT_FALSE(loop_.advanceUntil([] { return false; }, 100ms));
  EXPECT_EQ(loop_.now(), begin_ + 130ms);
}

TEST_F(ManualRunLoopTest, ASignalledDescriptorRunsItsWatchesOnce) {
  auto watch = loop_.watchDescriptor(7, noting("seven"));
  const auto other = loop_.watchDescriptor(8, noting("eight"));
  EXPECT_EQ(loop_.watchedDescriptorCount(), 2U);
  loop_.signalDescriptor(7);
  EXPECT_THAT(noted_, IsEmpty());
  loop_.runUntilIdle();
  EXPECT_THAT(noted_, ElementsAre("seven@0"));
  loop_.signalDescriptor(7);
  watch.reset();
  loop_.runUntilIdle();
  EXPECT_THAT(noted_, ElementsAre("seven@0"));
  EXPECT_EQ(loop_.watchedDescriptorCount(), 1U);
}

TEST_F(ManualRunLoopTest, ActionsThatNeverEndAreAnErrorInsteadOfAHang) {
  RunLoop::Action again;
  again = [&] { loop_.post(again); };
  loop_.post(again);
  EXPECT_THROW(loop_.advance(1s), std::logic_error);
}

TEST_F(ManualRunLoopTest, ARepeatingTimerWithoutAnIntervalDoesNotStopTime) {
  int beats = 0;
  const auto timer = loop_.scheduleTimer(0ms, true, [&] { ++beats; });
  loop_.advance(100ms);
  EXPECT_EQ(beats, 100);
}

}  // namespace
}  // namespace tolvane
