// Waits for a server that takes connections and never answers. The run loop's time moves only when the test says so, so
// that no limit ends a wait; the user's thread does.

#include <gmock/gmock.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "platform/pipewire/server/PipeWireConnection.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/support/ManualDeviceTime.h"
#include "tests/support/SilentSocket.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

/// The library and the connection read where the server is.
class ServerOfTheEnvironment {
 public:
  explicit ServerOfTheEnvironment(const std::string& socket) { ::setenv("PIPEWIRE_REMOTE", socket.c_str(), 1); }
  ~ServerOfTheEnvironment() { ::unsetenv("PIPEWIRE_REMOTE"); }
  ServerOfTheEnvironment(const ServerOfTheEnvironment&) = delete;
  ServerOfTheEnvironment& operator=(const ServerOfTheEnvironment&) = delete;
};

class PipeWireWaits : public testing::Test {
 protected:
  /// The wait that begins in `call` on this thread, seen and ended from another one, as the window does it.
  void expectToEndByInterrupt(const char* name, const std::function<void()>& call) {
    std::thread user([this, name] {
      while (!calls_.waiting()) std::this_thread::yield();
      EXPECT_EQ(calls_.waiting()->who, "the sound server") << name;
      time_->advance(DeviceCalls::shortest);
      EXPECT_TRUE(calls_.waiting()) << name << ": time alone ends no wait";
      interrupt_ = calls_.interrupt();
    });
    call();
    user.join();
    EXPECT_FALSE(calls_.waiting()) << name;
    EXPECT_GT(interrupt_, 0U) << name;
    calls_.clearInterrupts(interrupt_);
    interrupt_ = 0;
    std::printf("%-34s ended by the user\n", name);
  }

  test::TemporaryFolder folder_;
  const std::string path_ = folder_.path() / "silent";
  test::SilentSocket server_{path_};
  ServerOfTheEnvironment environment_{path_};
  ManualRunLoop runLoop_;
  MemoryLog log_;
  const std::shared_ptr<test::ManualDeviceTime> time_ = std::make_shared<test::ManualDeviceTime>();
  DeviceCalls calls_{runLoop_, log_, time_};
  std::uint64_t interrupt_ = 0;
  PipeWireConnection connection_{runLoop_, log_, &calls_, {.changed = [] {}, .lost = [] {}}};
};

TEST_F(PipeWireWaits, EndWhenTheUserWantsSomethingElse) {
  expectToEndByInterrupt("server: what it has", [this] { connection_.open(); });
  ASSERT_TRUE(connection_.isConnected());
  expectToEndByInterrupt("server: an answer", [this] { EXPECT_FALSE(connection_.roundTrip(2s)); });
  expectToEndByInterrupt("server: a condition",
                         [this] { EXPECT_FALSE(connection_.waitUntil([] { return false; }, 2s)); });
  expectToEndByInterrupt("server: several waits in a row", [this] {
    const auto whole = connection_.beginWait();
    EXPECT_FALSE(connection_.roundTrip(2s));
    EXPECT_FALSE(connection_.roundTrip(2s)) << "the second one ends at once";
  });
}

TEST_F(PipeWireWaits, EndByTheirLimit) {
  expectToEndByInterrupt("server: what it has", [this] { connection_.open(); });
  ASSERT_TRUE(connection_.isConnected());
  int looked = 0;
  EXPECT_FALSE(connection_.waitUntil(
      [&] {
        ++looked;
        runLoop_.sleepFor(100ms);
        return false;
      },
      1s));
  EXPECT_EQ(looked, 10);
}

TEST_F(PipeWireWaits, EndAtOnceWhereWhatIsWaitedForIsThere) {
  EXPECT_TRUE(connection_.waitUntil([] { return true; }, 0s));
  EXPECT_FALSE(calls_.waiting());
}

}  // namespace
}  // namespace tolvane
