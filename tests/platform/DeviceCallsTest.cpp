// Calls that hang, on real threads behind gates; their time moves only when a test says so. The test's own thread is
// the user's, and the one that makes the calls is another.

#include "platform/DeviceCalls.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <future>
#include <iterator>
#include <latch>
#include <memory>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/support/ManualDeviceTime.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;
using test::Gate;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string dac = "Studio DAC";

/// What has to be given back: says on which thread that was done.
struct Handle {
  explicit Handle(std::promise<std::thread::id>& where) : closed(&where) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { closed->set_value(std::this_thread::get_id()); }
  std::promise<std::thread::id>* closed;
};

class DeviceCallsTest : public testing::Test {
 protected:
  /// On a thread of its own: a call that hangs until the gate opens.
  std::future<bool> hang(Gate& gate, std::latch* ended = nullptr, const std::string& who = dac) {
    return std::async(std::launch::async, [this, &gate, ended, who] {
      const auto tell = [ended] {
        if (ended != nullptr) ended->count_down();
      };
      return calls_
          ->run(
              who, [&gate] { gate.pass(); }, tell)
          .has_value();
    });
  }

  /// Leaves one behind that hangs in the gate.
  void leaveBehind(Gate& gate, int countInGate, std::latch& ended, const std::string& who = dac) {
    auto call = hang(gate, &ended, who);
    gate.await(countInGate);
    time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
    time_->advance(DeviceCalls::patience);
    EXPECT_FALSE(call.get());
  }

  ManualRunLoop runLoop_;
  MemoryLog log_;
  const std::shared_ptr<test::ManualDeviceTime> time_ = std::make_shared<test::ManualDeviceTime>();
  std::optional<DeviceCalls> calls_{std::in_place, runLoop_, log_, time_};
};

TEST_F(DeviceCallsTest, givesWhatTheCallReturnsFromAnotherThread) {
  const auto thread = calls_->run(dac, [] { return std::this_thread::get_id(); });
  ASSERT_TRUE(thread);
  EXPECT_NE(*thread, std::this_thread::get_id());
  EXPECT_EQ(calls_->run(dac, [] { return std::string("text"); }), "text");
  bool hasRun = false;
  EXPECT_TRUE(calls_->run(dac, [&] { hasRun = true; }).has_value()) << "one that returns nothing";
  EXPECT_TRUE(hasRun);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DeviceCallsTest, givesWhatCanOnlyBeMoved) {
  auto moved = calls_->run(dac, [] { return std::make_unique<int>(7); });
  ASSERT_TRUE(moved);
  EXPECT_EQ(**moved, 7);
}

TEST_F(DeviceCallsTest, makesOneCallAfterTheOtherOnOneThread) {
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

TEST_F(DeviceCallsTest, knowsTheThreadsThatCallsAreMadeOn) {
  EXPECT_FALSE(DeviceCalls::isCallThread());
  EXPECT_EQ(calls_->run(dac, [] { return DeviceCalls::isCallThread(); }), true);
}

TEST_F(DeviceCallsTest, throwsWhatTheCallThrowsAndMakesTheNext) {
  const auto failing = [this] { (void)calls_->run(dac, []() -> int { throw std::runtime_error("no memory"); }); };
  EXPECT_THROW(failing(), std::runtime_error);
  EXPECT_FALSE(calls_->waiting());
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1);
}

TEST_F(DeviceCallsTest, letsGoOfWhatACallOwnsBeforeItGoesOn) {
  const auto owned = std::make_shared<int>(1);
  for (int i = 0; i < 200; ++i) {
    (void)calls_->run(dac, [owned] { return owned; });
    ASSERT_EQ(owned.use_count(), 1) << "in turn " << i;
  }
}

TEST_F(DeviceCallsTest, runsNoEndForACallThatWasWaitedFor) {
  bool hasEnded = false;
  EXPECT_TRUE(calls_
                  ->run(
                      dac, [] {}, [&] { hasEnded = true; })
                  .has_value());
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1) << "on the same thread, behind it";
  EXPECT_FALSE(hasEnded);
}

TEST_F(DeviceCallsTest, namesWhatIsWaitedFor) {
  EXPECT_FALSE(calls_->waiting());
  const auto begun = time_->now();
  Gate gate;
  auto call = hang(gate);
  gate.await();
  time_->advance(3s);
  const auto waiting = calls_->waiting();
  ASSERT_TRUE(waiting);
  EXPECT_EQ(waiting->who, dac);
  EXPECT_EQ(waiting->since, begun);
  gate.open();
  EXPECT_TRUE(call.get()) << "three seconds are no reason to leave it behind";
  EXPECT_FALSE(calls_->waiting());
}

TEST_F(DeviceCallsTest, leavesACallBehindThatOutlastsItsPatience) {
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

TEST_F(DeviceCallsTest, closesWhatALateCallHasOpenedOnItsThread) {
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

TEST_F(DeviceCallsTest, keepsWhatALateCallOwnsUntilItsEndAndNoLonger) {
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

TEST_F(DeviceCallsTest, endsAWaitThatIsInterruptedBeforeItsSecondIsOverAfterThat) {
  const auto begun = time_->now();
  Gate gate;
  std::latch ended(1);
  auto call = hang(gate, &ended);
  gate.await();
  time_->awaitWaitUntil(begun + DeviceCalls::patience);
  time_->advance(300ms);
  calls_->interrupt();
  time_->awaitWaitUntil(begun + 1s);
  time_->advance(700ms - 1ns);
  time_->awaitWaitUntil(begun + 1s);
  EXPECT_TRUE(calls_->waiting());
  time_->advance(1ns);
  EXPECT_FALSE(call.get());
  EXPECT_THAT(log_.messages(),
              ElementsAre("Studio DAC does not answer: a call into its driver was left behind after 1 s"));
  gate.open();
  ended.wait();
}

TEST_F(DeviceCallsTest, endsAWaitThatHasLastedASecondWhenItIsInterrupted) {
  Gate gate;
  std::latch ended(1);
  auto call = hang(gate, &ended);
  gate.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  time_->advance(4s);
  calls_->interrupt();
  EXPECT_FALSE(call.get());
  gate.open();
  ended.wait();
}

TEST_F(DeviceCallsTest, waitsForACallThatReturnsWithinTheSecondOfAnInterrupt) {
  Gate gate;
  calls_->interrupt();
  auto call = hang(gate);
  gate.await();
  time_->awaitWaitUntil(time_->now() + 1s);
  time_->advance(900ms);
  gate.open();
  EXPECT_TRUE(call.get());
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(DeviceCallsTest, takesASecondOnceForAnInterruptAndAQuarterForEachCallAfterThat) {
  Gate gate;
  std::latch ended(5);
  const std::uint64_t number = calls_->interrupt();
  for (int i = 0; i < 5; ++i) {
    const auto most = i == 0 ? DeviceCalls::shortest : DeviceCalls::shortestAgain;
    auto call = hang(gate, &ended, "DAC " + std::to_string(i));
    gate.await(i + 1);
    time_->awaitWaitUntil(time_->now() + most);
    time_->advance(most);
    EXPECT_FALSE(call.get());
  }
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1) << "one that does not hang is as good as ever";

  calls_->clearInterrupts(number);
  Gate other;
  auto call = hang(other);
  other.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  calls_->interrupt();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::shortest);
  other.open();
  EXPECT_TRUE(call.get()) << "the next one gives a second again";
  gate.open();
  ended.wait();
}

TEST_F(DeviceCallsTest, keepsAnInterruptThatIsNewerThanTheCommandThatBegins) {
  const std::uint64_t first = calls_->interrupt();
  const std::uint64_t second = calls_->interrupt();
  EXPECT_GT(second, first);
  calls_->clearInterrupts(first);
  Gate gate;
  std::latch ended(1);
  auto call = hang(gate, &ended);
  gate.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::shortest);
  time_->advance(DeviceCalls::shortest);
  EXPECT_FALSE(call.get());
  gate.open();
  ended.wait();

  calls_->clearInterrupts(second);
  calls_->clearInterrupts(first);
  Gate other;
  call = hang(other);
  other.await();
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  other.open();
  EXPECT_TRUE(call.get());
}

TEST_F(DeviceCallsTest, makesCallsWhileOneIsLeftBehindAndAnInterruptIsInForce) {
  Gate gate;
  std::latch ended(1);
  leaveBehind(gate, 1, ended);
  calls_->interrupt();
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1);
  gate.open();
  ended.wait();
}

TEST_F(DeviceCallsTest, swallowsWhatALateCallThrows) {
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

TEST_F(DeviceCallsTest, goesOnWithManyLeftBehindAndUsesTheirThreadsAgain) {
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
    // The first of eight was left behind seventy seconds before the last.
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

TEST_F(DeviceCallsTest, waitsForNothingWhereACallIsLeftAtOnce) {
  Gate gate;
  std::latch ended(1);
  calls_->leave(
      dac, [&] { gate.pass(); }, [&] { ended.count_down(); });
  EXPECT_FALSE(calls_->waiting());
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1);
  gate.open();
  ended.wait();
  EXPECT_THAT(log_.lines(), IsEmpty()) << "nobody waited";
}

TEST_F(DeviceCallsTest, leavesItsThreadsAloneWhenItEnds) {
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

TEST_F(DeviceCallsTest, bringsActionsHomeFromAnyThreadWhileThereIsAHome) {
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

TEST_F(DeviceCallsTest, destroysWhatIsBoundOnItsOwnThread) {
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

TEST_F(DeviceCallsTest, destroysWhatIsBoundAtOnceWhereItsOwnThreadLetsGo) {
  std::promise<std::thread::id> closed;
  auto bound = calls_->home().bind(std::make_shared<Handle>(closed));
  bound.reset();
  EXPECT_EQ(closed.get_future().wait_for(0s), std::future_status::ready);
  EXPECT_EQ(calls_->home().bind(nullptr), nullptr);
}

TEST_F(DeviceCallsTest, keepsWhatIsBoundForEverOnceThereIsNoHome) {
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

// Waits of the calling thread's own.

TEST_F(DeviceCallsTest, namesAWaitInSmallStepsAndEndsItByAnInterrupt) {
  const std::string server = "the sound server";
  {
    const DeviceCalls::Wait wait(*calls_, server);
    const auto begun = time_->now();
    EXPECT_EQ(calls_->waiting().value().who, server);
    EXPECT_EQ(calls_->waiting().value().since, begun);
    time_->advance(3s);
    EXPECT_FALSE(wait.isInterrupted()) << "it has its own limit";
    EXPECT_EQ(calls_->waiting().value().since, begun);
    calls_->interrupt();
    EXPECT_TRUE(wait.isInterrupted());
  }
  EXPECT_FALSE(calls_->waiting());
  const DeviceCalls::Wait next(*calls_, server);
  EXPECT_FALSE(next.isInterrupted());
  time_->advance(DeviceCalls::shortestAgain - 1ns);
  EXPECT_FALSE(next.isInterrupted());
  time_->advance(1ns);
  EXPECT_TRUE(next.isInterrupted());
}

TEST_F(DeviceCallsTest, lastsASecondWhereTheInterruptComesFirst) {
  calls_->interrupt();
  const DeviceCalls::Wait wait(*calls_, dac);
  time_->advance(1s - 1ns);
  EXPECT_FALSE(wait.isInterrupted());
  time_->advance(1ns);
  EXPECT_TRUE(wait.isInterrupted());
}

TEST_F(DeviceCallsTest, countsAWaitWithinAnotherFromTheBeginningOfThat) {
  const DeviceCalls::Wait outer(*calls_, dac);
  const auto begun = time_->now();
  time_->advance(600ms);
  calls_->interrupt();
  {
    const DeviceCalls::Wait inner(*calls_, dac);
    EXPECT_EQ(calls_->waiting().value().since, begun);
    time_->advance(400ms);
    EXPECT_TRUE(inner.isInterrupted());
  }
  EXPECT_EQ(calls_->waiting().value().since, begun);
  {
    const DeviceCalls::Wait other(*calls_, "the sound server");
    EXPECT_EQ(calls_->waiting().value().since, time_->now());
    EXPECT_FALSE(other.isInterrupted());
  }
  EXPECT_TRUE(outer.isInterrupted());
  const auto seen = calls_->run(dac, [this] { return calls_->waiting(); });
  EXPECT_EQ(seen.value().value().since, begun) << "and a call for the same device";
}

TEST_F(DeviceCallsTest, canBeAskedAndInterruptedFromEveryThread) {
  constexpr int rounds = 500;
  std::latch done(2);
  std::thread asking([&] {
    for (int i = 0; i < rounds; ++i) (void)calls_->waiting();
    done.count_down();
  });
  std::thread interrupting([&] {
    for (int i = 0; i < rounds; ++i) calls_->clearInterrupts(calls_->interrupt());
    done.count_down();
  });
  int made = 0;
  while (!done.try_wait() || made < rounds) {
    EXPECT_EQ(calls_->run(dac, [made] { return made; }), made);
    ++made;
  }
  asking.join();
  interrupting.join();
  RecordProperty("calls", made);
  EXPECT_GE(made, rounds);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace
}  // namespace tolvane
