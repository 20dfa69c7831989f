#pragma once
// Calls that hang, on real threads behind gates; their time moves only when a test says so. The test's own thread is
// the user's, and the one that makes the calls is another.

#include <gmock/gmock.h>

#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "platform/DeviceCalls.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/support/ManualDeviceTime.h"

namespace tolvane::test {

inline const std::string dac = "Studio DAC";

/// A resource to be released: records on which thread that was done.
struct Handle {
  explicit Handle(std::promise<std::thread::id>& where) : closed(&where) {}
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  ~Handle() { closed->set_value(std::this_thread::get_id()); }
  std::promise<std::thread::id>* closed;
};

class DeviceCallsFixture : public testing::Test {
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

}  // namespace tolvane::test
