// Calls back into the caller's thread.

#include <future>
#include <latch>
#include <memory>
#include <thread>

#include "tests/platform/DeviceCallsFixture.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""s;
using test::dac;
using test::Gate;
using test::Handle;

class DeviceCallsHome : public test::DeviceCallsFixture {};

TEST_F(DeviceCallsHome, BringsActionsHomeFromAnyThreadWhileThereIsAHome) {
  const DeviceCalls::Home home = calls_->home();
  int runs = 0;
  (void)calls_->run(dac, [&] { home.post([&runs] { ++runs; }); });
  EXPECT_EQ(runs, 0) << "in a turn of its own";
  runLoop_.runUntilIdle();
  EXPECT_EQ(runs, 1);
  calls_.reset();
  home.post([&runs] { ++runs; });
  runLoop_.runUntilIdle();
  EXPECT_EQ(runs, 1);
}

TEST_F(DeviceCallsHome, DestroysWhatIsBoundOnItsOwnThread) {
  std::promise<std::thread::id> closed;
  auto bound = calls_->home().bind(std::make_shared<Handle>(closed));
  (void)calls_->run(dac, [copy = bound] {});
  std::promise<std::shared_ptr<void>> last;
  last.set_value(std::move(bound));
  (void)calls_->run(dac, [&] { last.get_future().get().reset(); });
  auto where = closed.get_future();
  EXPECT_EQ(where.wait_for(0s), std::future_status::timeout) << "not on the call's thread";
  runLoop_.runUntilIdle();
  ASSERT_EQ(where.wait_for(0s), std::future_status::ready);
  EXPECT_EQ(where.get(), std::this_thread::get_id());
}

TEST_F(DeviceCallsHome, DestroysWhatIsBoundAtOnceWhereItsOwnThreadLetsGo) {
  std::promise<std::thread::id> closed;
  auto bound = calls_->home().bind(std::make_shared<Handle>(closed));
  bound.reset();
  EXPECT_EQ(closed.get_future().wait_for(0s), std::future_status::ready);
  EXPECT_EQ(calls_->home().bind(nullptr), nullptr);
}

TEST_F(DeviceCallsHome, KeepsWhatIsBoundForEverOnceThereIsNoHome) {
  auto& closed = *new std::promise<std::thread::id>;  // the thing outlives the test, and knows it
  std::shared_ptr<void> bound = calls_->home().bind(std::make_shared<Handle>(closed));
  Gate gate;
  std::latch ended(1);
  auto call = std::async(std::launch::async, [&, bound = std::move(bound)]() mutable {
    return calls_
        ->run(
            dac, [&gate, bound = std::move(bound)] { gate.pass(); }, [&] { ended.count_down(); })
        .has_value();
  });
  gate.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  time_->advance(DeviceCalls::patience);
  EXPECT_FALSE(call.get());
  calls_.reset();
  gate.open();
  ended.wait();
  EXPECT_EQ(closed.get_future().wait_for(0s), std::future_status::timeout);
}

}  // namespace
}  // namespace tolvane
