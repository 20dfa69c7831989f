// Waits for calls: how long they last, what they are named, and how the user ends them.

#include <latch>

#include "tests/platform/DeviceCallsFixture.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;
using test::dac;
using test::Gate;
using testing::ElementsAre;
using testing::IsEmpty;

class DeviceCallsInterrupt : public test::DeviceCallsFixture {};

TEST_F(DeviceCallsInterrupt, NamesWhatIsWaitedFor) {
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

TEST_F(DeviceCallsInterrupt, EndsAWaitThatIsInterruptedBeforeItsSecondIsOverAfterThat) {
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

TEST_F(DeviceCallsInterrupt, EndsAWaitThatHasLastedASecondWhenItIsInterrupted) {
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

TEST_F(DeviceCallsInterrupt, WaitsForACallThatReturnsWithinTheSecondOfAnInterrupt) {
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

TEST_F(DeviceCallsInterrupt, TakesASecondOnceForAnInterruptAndAQuarterForEachCallAfterThat) {
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

TEST_F(DeviceCallsInterrupt, KeepsAnInterruptThatIsNewerThanTheCommandThatBegins) {
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

TEST_F(DeviceCallsInterrupt, MakesCallsWhileOneIsLeftBehindAndAnInterruptIsInForce) {
  Gate gate;
  std::latch ended(1);
  leaveBehind(gate, 1, ended);
  calls_->interrupt();
  EXPECT_EQ(calls_->run(dac, [] { return 1; }), 1);
  gate.open();
  ended.wait();
}

}  // namespace
}  // namespace tolvane
