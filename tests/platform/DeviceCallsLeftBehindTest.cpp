// Calls that outlast what is waited for: what becomes of what they own, of their threads and of the log.

#include <filesystem>
#include <future>
#include <iterator>
#include <latch>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/platform/DeviceCallsFixture.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;
using test::dac;
using test::Gate;
using test::Handle;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class DeviceCallsLeftBehind : public test::DeviceCallsFixture {};

TEST_F(DeviceCallsLeftBehind, LeavesACallBehindThatOutlastsItsPatience) {
  const auto begun = time_->now();
  Gate gate;
  std::latch ended(1);
  auto call = hang(gate, &ended);
  gate.await();
  time_->awaitWaitUntil(begun + DeviceCalls::patience);
  time_->advance(DeviceCalls::patience - 1ns);
  time_->awaitWaitUntil(begun + DeviceCalls::patience);
  EXPECT_TRUE(calls_->waiting());
  time_->advance(1ns);
  EXPECT_FALSE(call.get());
  EXPECT_FALSE(calls_->waiting());
  EXPECT_THAT(log_.messages(),
              ElementsAre("Studio DAC does not answer: a call into its driver was left behind after 10 s"));
  EXPECT_FALSE(ended.try_wait());

  time_->advance(2s);
  gate.open();
  ended.wait();
  EXPECT_THAT(log_.messages(),
              ElementsAre(testing::_, "Studio DAC: the call that hung in its driver ended after 12 s"));
}

TEST_F(DeviceCallsLeftBehind, ClosesWhatALateCallHasOpenedOnItsThread) {
  Gate gate;
  std::promise<std::thread::id> closed;
  std::promise<std::thread::id> opened;
  std::latch ended(1);
  auto call = std::async(std::launch::async, [&] {
    const auto open = [&gate, &opened, &closed] {
      gate.pass();
      opened.set_value(std::this_thread::get_id());
      return std::make_shared<Handle>(closed);
    };
    return calls_->run(dac, open, [&] { ended.count_down(); }).has_value();
  });
  gate.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  time_->advance(DeviceCalls::patience);
  EXPECT_FALSE(call.get());
  gate.open();
  EXPECT_EQ(closed.get_future().get(), opened.get_future().get());
  ended.wait();
}

TEST_F(DeviceCallsLeftBehind, KeepsWhatALateCallOwnsUntilItsEndAndNoLonger) {
  Gate gate;
  std::promise<std::thread::id> closed;
  auto isClosed = closed.get_future();
  std::latch ended(1);
  auto call = std::async(std::launch::async, [&] {
    const auto handle = std::make_shared<Handle>(closed);
    return calls_
        ->run(
            dac, [&gate, handle] { gate.pass(); },
            [&] {
              EXPECT_EQ(isClosed.wait_for(0s), std::future_status::ready) << "the end comes after it";
              ended.count_down();
            })
        .has_value();
  });
  gate.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  time_->advance(DeviceCalls::patience);
  EXPECT_FALSE(call.get());
  EXPECT_EQ(isClosed.wait_for(0s), std::future_status::timeout);
  gate.open();
  ended.wait();
}

TEST_F(DeviceCallsLeftBehind, SwallowsWhatALateCallThrows) {
  Gate gate;
  std::latch ended(1);
  auto call = std::async(std::launch::async, [&] {
    const auto failing = [&gate]() -> int {
      gate.pass();
      throw std::runtime_error("too late");
    };
    return calls_->run(dac, failing, [&] { ended.count_down(); }).has_value();
  });
  gate.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  time_->advance(DeviceCalls::patience);
  EXPECT_FALSE(call.get());
  gate.open();
  ended.wait();
  EXPECT_THAT(log_.lines(), SizeIs(2));
}

TEST_F(DeviceCallsLeftBehind, GoesOnWithManyLeftBehindAndUsesTheirThreadsAgain) {
  constexpr int many = 8;
  std::vector<Gate> gates(many);
  std::vector<std::unique_ptr<std::latch>> ends;
  for (int i = 0; i < many; ++i) {
    ends.push_back(std::make_unique<std::latch>(1));
    leaveBehind(gates[static_cast<std::size_t>(i)], 1, *ends.back(), "DAC " + std::to_string(i));
    EXPECT_EQ(calls_->run(dac, [i] { return i; }), i) << "another device answers meanwhile";
  }
  log_.clear();
  std::vector<std::string> expected;
  for (const int i : {5, 0, 7, 1, 6, 2, 4, 3}) {
    gates[static_cast<std::size_t>(i)].open();
    ends[static_cast<std::size_t>(i)]->wait();
    // The first of eight was abandoned seventy seconds before the last.
    expected.push_back("DAC " + std::to_string(i) + ": the call that hung in its driver ended after " +
                       std::to_string(10 * (many - i)) + " s");
  }
  EXPECT_EQ(log_.messages(), expected);

  const auto threadCount = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
  };
  const auto before = threadCount();
  Gate all;
  std::latch done(many);
  std::mutex mutex;
  std::set<std::thread::id> threads;
  for (int i = 0; i < many; ++i) {
    calls_->leave(
        dac,
        [&] {
          {
            const std::scoped_lock lock(mutex);
            threads.insert(std::this_thread::get_id());
          }
          all.pass();
        },
        [&] { done.count_down(); });
  }
  all.await(many);
  EXPECT_THAT(threads, SizeIs(many)) << "none waits for another";
  EXPECT_LE(threadCount(), before);
  all.open();
  done.wait();
}

TEST_F(DeviceCallsLeftBehind, LeavesItsThreadsAloneWhenItEnds) {
  Gate gate;
  std::promise<std::thread::id> closed;
  std::latch ended(1);
  auto call = std::async(std::launch::async, [&] {
    const auto open = [&gate, &closed] {
      gate.pass();
      return std::make_shared<Handle>(closed);
    };
    return calls_->run(dac, open, [&] { ended.count_down(); }).has_value();
  });
  gate.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  time_->advance(DeviceCalls::patience);
  EXPECT_FALSE(call.get());
  log_.clear();
  calls_.reset();
  gate.open();
  closed.get_future().wait();
  ended.wait();
  EXPECT_THAT(log_.lines(), IsEmpty()) << "there may be no log any more";
}

}  // namespace
}  // namespace tolvane
