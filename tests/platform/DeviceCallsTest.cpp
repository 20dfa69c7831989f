// Calls that return: on which thread they are made, and what is given back of them.

#include <algorithm>
#include <latch>
#include <memory>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/platform/DeviceCallsFixture.h"

namespace tolvane {
namespace {

using test::dac;
using test::Gate;
using testing::IsEmpty;
using testing::SizeIs;

class DeviceCallsTest : public test::DeviceCallsFixture {};

TEST_F(DeviceCallsTest, GivesWhatTheCallReturnsFromAnotherThread) {
  const auto thread = calls_->run(dac, [] { return std::this_thread::get_id(); });
  ASSERT_TRUE(thread);
  EXPECT_NE(*thread, std::this_thread::get_id());
  EXPECT_EQ(calls_->run(dac, [] { return std::string("text"); }), "text");
  bool hasRun = false;
  EXPECT_TRUE(calls_->run(dac, [&] { hasRun = true; }).has_value()) << "one that returns nothing";
  EXPECT_TRUE(hasRun);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DeviceCallsTest, GivesWhatCanOnlyBeMoved) {
  auto moved = calls_->run(dac, [] { return std::make_unique<int>(7); });
  ASSERT_TRUE(moved);
  EXPECT_EQ(**moved, 7);
}

TEST_F(DeviceCallsTest, MakesOneCallAfterTheOtherOnOneThread) {
  std::set<std::thread::id> threads;
  std::vector<int> order;
  for (int i = 0; i < 200; ++i) {
    threads.insert(*calls_->run(dac, [&order, i] {
      order.push_back(i);
      return std::this_thread::get_id();
    }));
  }
  EXPECT_THAT(threads, SizeIs(1));
  ASSERT_THAT(order, SizeIs(200));
  EXPECT_TRUE(std::ranges::is_sorted(order));
}

TEST_F(DeviceCallsTest, KnowsTheThreadsThatCallsAreMadeOn) {
  EXPECT_FALSE(DeviceCalls::isCallThread());
  EXPECT_EQ(calls_->run(dac, [] { return DeviceCalls::isCallThread(); }), true);
}

TEST_F(DeviceCallsTest, ThrowsWhatTheCallThrowsAndMakesTheNext) {
  const auto failing = [this] { (void)calls_->run(dac, []() -> int { throw std::runtime_error("no memory"); }); };
  EXPECT_THROW(failing(), std::runtime_error);
  EXPECT_FALSE(calls_->waiting());
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1);
}

TEST_F(DeviceCallsTest, LetsGoOfWhatACallOwnsBeforeItGoesOn) {
  const auto owned = std::make_shared<int>(1);
  for (int i = 0; i < 200; ++i) {
    (void)calls_->run(dac, [owned] { return owned; });
    ASSERT_EQ(owned.use_count(), 1) << "in turn " << i;
  }
}

TEST_F(DeviceCallsTest, RunsNoEndForACallThatWasWaitedFor) {
  bool hasEnded = false;
  EXPECT_TRUE(calls_
                  ->run(
                      dac, [] {}, [&] { hasEnded = true; })
                  .has_value());
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1) << "on the same thread, behind it";
  EXPECT_FALSE(hasEnded);
}

TEST_F(DeviceCallsTest, WaitsForNothingWhereACallIsLeftAtOnce) {
  Gate gate;
  std::latch ended(1);
  calls_->leave(
      dac, [&] { gate.pass(); }, [&] { ended.count_down(); });
  EXPECT_FALSE(calls_->waiting());
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1);
  gate.open();
  ended.wait();
  EXPECT_THAT(log_.lines(), IsEmpty()) << "no call waited";
}

}  // namespace
}  // namespace tolvane
