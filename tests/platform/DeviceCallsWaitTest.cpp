// Waits of the calling thread's own.

#include <latch>
#include <string>
#include <thread>

#include "tests/platform/DeviceCallsFixture.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;
using test::dac;
using testing::IsEmpty;

class DeviceCallsWait : public test::DeviceCallsFixture {};

TEST_F(DeviceCallsWait, NamesAWaitInSmallStepsAndEndsItByAnInterrupt) {
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

TEST_F(DeviceCallsWait, LastsASecondWhereTheInterruptComesFirst) {
  calls_->interrupt();
  const DeviceCalls::Wait wait(*calls_, dac);
  time_->advance(1s - 1ns);
  EXPECT_FALSE(wait.isInterrupted());
  time_->advance(1ns);
  EXPECT_TRUE(wait.isInterrupted());
}

TEST_F(DeviceCallsWait, CountsAWaitWithinAnotherFromTheBeginningOfThat) {
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

TEST_F(DeviceCallsWait, CanBeAskedAndInterruptedFromEveryThread) {
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
