// An output unit on a real sound server that stops answering at each stage. The run loop's time stands still while the
// server answers, and moves by itself from the moment at which it is stopped: what a wait takes is counted in it.

#include <gmock/gmock.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>

#include "platform/pipewire/server/PipeWireConnection.h"
#include "platform/pipewire/units/PipeWireOutputUnit.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ManualDeviceTime.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""h;
using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr AudioObjectID device = 7;

constexpr const char* serverText = R"(
context.properties = { core.daemon = true core.name = pipewire-0 }
context.spa-libs = { audio.convert.* = audioconvert/libspa-audioconvert support.* = support/libspa-support }
context.modules = [
  { name = libpipewire-module-protocol-native } { name = libpipewire-module-client-node }
  { name = libpipewire-module-spa-node-factory } { name = libpipewire-module-adapter }
  { name = libpipewire-module-metadata } { name = libpipewire-module-access }
]
context.objects = [
  { factory = adapter args = { factory.name = support.null-audio-sink node.name = sane
    media.class = Audio/Sink audio.position = [ FL FR ] } }
]
)";

/// Time moves by a step each time that it is looked at, once that is switched on; and with what is slept.
class SteppingRunLoop final : public RunLoop {
 public:
  static constexpr Duration step = 200ms;
  /// A reading each for the beginning and the end of a wait and its last turn.
  static constexpr Duration slack = 4 * step;

  void begin() { isMoving_ = true; }
  [[nodiscard]] Duration elapsed() const { return moved_; }
  void restart() { moved_ = Duration::zero(); }

  [[nodiscard]] TimePoint now() const override {
    if (isMoving_) moved_ += step;
    return timers_.now() + moved_;
  }
  Timer scheduleTimer(Duration interval, bool repeats, Action action) override {
    return timers_.scheduleTimer(interval, repeats, std::move(action));
  }
  void post(Action action) override { timers_.post(std::move(action)); }
  void sleepFor(Duration duration) override { moved_ += duration; }
  Watch watchDescriptor(int descriptor, Action action) override {
    return timers_.watchDescriptor(descriptor, std::move(action));
  }

 private:
  ManualRunLoop timers_;
  bool isMoving_ = false;
  mutable Duration moved_{};
};

OSStatus renderNothing(void*, std::uint32_t, AudioBufferList*) noexcept { return noErr; }

class StoppedServer : public testing::Test, public PipeWireOutputUnit::Host {
 protected:
  StoppedServer() {
    for (const char* name : {"XDG_RUNTIME_DIR", "PIPEWIRE_RUNTIME_DIR"}) ::setenv(name, folder_.path().c_str(), 1);
    startServer();
    connection_.emplace(loop_, log_, &calls_,
                        SoundServer::Events{.changed = [this] { ++changes_; }, .lost = [this] { lost(); }});
    while (!connection_->isConnected()) connection_->reconnect();  // there is a socket before it takes connections
    connection_->open();
    unit_.emplace(*this);
    using Property = AudioUnitProperty;
    using Scope = AudioUnitScope;
    EXPECT_EQ(unit_->setProperty(Property::enableIO, Scope::output, 0, std::uint32_t{1}), noErr);
    EXPECT_EQ(unit_->setProperty(Property::enableIO, Scope::input, 1, std::uint32_t{0}), noErr);
    EXPECT_EQ(unit_->setProperty(Property::currentDevice, Scope::global, 0, std::uint32_t{device}), noErr);
    EXPECT_EQ(unit_->setProperty(Property::streamFormat, Scope::input, 0,
                                 linearPCM(48000, 2, 16, 2, kAudioFormatFlagIsSignedInteger)),
              noErr);
    EXPECT_EQ(unit_->setProperty(Property::setRenderCallback, Scope::input, 0, AURenderCallback{&renderNothing, this}),
              noErr);
  }
  ~StoppedServer() override {
    unit_.reset();
    connection_.reset();
    if (server_) ::kill(server_->pid(), SIGCONT);
  }

  void startServer() {
    server_.emplace(std::vector<std::string>{"pipewire", "-c", folder_.write("server.conf", serverText).path()});
    while (!std::filesystem::exists(folder_.path() / "pipewire-0")) std::this_thread::yield();
  }
  /// And has the connection notice.
  void killServer() {
    ::kill(server_->pid(), SIGKILL);
    server_.reset();
    std::filesystem::remove(folder_.path() / "pipewire-0");
    EXPECT_FALSE(connection_->waitUntil([] { return false; }, 1h)) << "a wait ends with the server";
  }
  /// As the hardware does, while the connection still stands.
  void lost() {
    isLost_ = true;
    if (unit_) unit_->markLost(kAudioHardwareNotRunningError);
  }
  void stopServer() {
    ::kill(server_->pid(), SIGSTOP);
    loop_.begin();
    loop_.restart();
  }
  /// Counts what the call takes.
  RunLoop::Duration timeOf(const char* what, const std::function<void()>& call) {
    loop_.restart();
    call();
    const auto time = loop_.elapsed();
    std::printf("%-40s %4lld ms\n", what, static_cast<long long>(time / 1ms));
    EXPECT_FALSE(calls_.waiting()) << what;
    return time;
  }
  /// The wait that begins in `call`, ended from another thread as the window does it.
  void endByUser(const std::function<void()>& call) {
    std::uint64_t interrupt = 0;
    std::thread user([&] {
      while (!calls_.waiting()) std::this_thread::yield();
      EXPECT_EQ(calls_.waiting()->who, "the sound server");
      time_->advance(DeviceCalls::shortest);
      interrupt = calls_.interrupt();
    });
    call();
    user.join();
    EXPECT_GT(interrupt, 0U);
    calls_.clearInterrupts(interrupt);
  }

  // PipeWireOutputUnit::Host
  [[nodiscard]] bool hasDevice(AudioObjectID id) const override { return id == device; }
  [[nodiscard]] std::expected<PipeWireOutputUnit::Path, OSStatus> openPath(AudioObjectID,
                                                                           PipeWireOutputUnit&) override {
    const auto& sinks = connection_->facts().sinks;
    if (sinks.empty()) return std::unexpected(kAudioHardwareBadDeviceError);
    ++open_;
    PipeWireOutputUnit::Path path;
    path.sink = sinks.begin()->first;
    path.serial = sinks.begin()->second.serial;
    return path;
  }
  void closePath(AudioObjectID, const PipeWireOutputUnit&) override { open_ = 0; }
  void movedToCard(AudioObjectID, std::optional<double>) override {}
  void unitChanged(AudioObjectID) override {}
  [[nodiscard]] AudioOutputComponent* cardComponent() override { return nullptr; }
  [[nodiscard]] SoundServer& server() override { return *connection_; }
  [[nodiscard]] RunLoop& runLoop() override { return loop_; }
  [[nodiscard]] Log& log() override { return log_; }

  test::TemporaryFolder folder_;
  std::optional<test::ChildProcess> server_;
  SteppingRunLoop loop_;
  MemoryLog log_;
  const std::shared_ptr<test::ManualDeviceTime> time_ = std::make_shared<test::ManualDeviceTime>();
  DeviceCalls calls_{loop_, log_, time_};
  std::optional<PipeWireConnection> connection_;
  std::optional<PipeWireOutputUnit> unit_;
  int open_ = 0;
  int changes_ = 0;
  bool isLost_ = false;
};

TEST_F(StoppedServer, HasReportedItsVersionBefore) {
  EXPECT_THAT(connection_->serverName(), testing::MatchesRegex("PipeWire [0-9]+\\.[0-9]+\\.[0-9]+.*"));
}

TEST_F(StoppedServer, IsWaitedForUpToALimitWhenAUnitIsInitialised) {
  stopServer();
  OSStatus status = noErr;
  const auto time = timeOf("initialize", [&] { status = unit_->initialize(); });
  EXPECT_NE(status, noErr);
  EXPECT_GE(time, 2s);
  EXPECT_LE(time, 2s + SteppingRunLoop::slack);
  EXPECT_EQ(open_, 0) << "the path was given back";
}

TEST_F(StoppedServer, IsWaitedForUpToALimitWhenAUnitStarts) {
  ASSERT_EQ(unit_->initialize(), noErr);
  stopServer();
  for (const char* what : {"start", "start again"}) {
    OSStatus status = noErr;
    const auto time = timeOf(what, [&] { status = unit_->start(); });
    EXPECT_NE(status, noErr) << what;
    EXPECT_GE(time, 2s) << what;
    EXPECT_LE(time, 2s + SteppingRunLoop::slack) << what;
    EXPECT_FALSE(unit_->isRunning());
  }
}

TEST_F(StoppedServer, IsNotWaitedForWhenAUnitStopsOrIsClosed) {
  ASSERT_EQ(unit_->initialize(), noErr);
  stopServer();
  (void)unit_->start();
  EXPECT_LE(timeOf("stop", [&] { (void)unit_->stop(); }), SteppingRunLoop::slack);
  EXPECT_LE(timeOf("uninitialize", [&] { (void)unit_->uninitialize(); }), SteppingRunLoop::slack);
  EXPECT_EQ(open_, 0);
  EXPECT_LE(timeOf("destroy", [&] { unit_.reset(); }), SteppingRunLoop::slack);
  EXPECT_LE(timeOf("disconnect", [&] { connection_.reset(); }), SteppingRunLoop::slack);
}

TEST_F(StoppedServer, IsNotWaitedForWhenItIsLost) {
  ASSERT_EQ(unit_->initialize(), noErr);
  stopServer();
  EXPECT_LE(timeOf("lost", [&] { unit_->markLost(kAudioHardwareNotRunningError); }), SteppingRunLoop::slack);
  EXPECT_LE(timeOf("uninitialize", [&] { (void)unit_->uninitialize(); }), SteppingRunLoop::slack);
}

TEST_F(StoppedServer, IsLeftByAUserWhoWantsSomethingElse) {
  ASSERT_EQ(unit_->initialize(), noErr);
  ::kill(server_->pid(), SIGSTOP);  // and time stands still: no limit ends these waits
  OSStatus status = noErr;
  endByUser([&] { status = unit_->start(); });
  EXPECT_NE(status, noErr);
  EXPECT_EQ(unit_->uninitialize(), noErr);
  endByUser([&] { status = unit_->initialize(); });
  EXPECT_NE(status, noErr);
  EXPECT_EQ(open_, 0);
}

TEST_F(StoppedServer, IsGoneWithAllThatItReportedWhenItDies) {
  ASSERT_EQ(unit_->initialize(), noErr);
  killServer();
  EXPECT_TRUE(isLost_);
  EXPECT_FALSE(connection_->isConnected());
  EXPECT_TRUE(connection_->facts().sinks.empty());
  EXPECT_EQ(unit_->start(), kAudioHardwareBadDeviceError);
}

TEST_F(StoppedServer, IsFoundAgainWhenItWasStartedAnew) {
  killServer();
  startServer();
  while (!connection_->isConnected()) connection_->reconnect();
  ASSERT_TRUE(connection_->waitUntil([this] { return !connection_->facts().sinks.empty(); }, 1h));
  EXPECT_EQ(unit_->initialize(), noErr);
}

TEST_F(StoppedServer, NoLongerReportsASinkThatItHasRemoved) {
  const auto sink = connection_->facts().sinks.begin()->first;
  const auto before = changes_;
  test::ChildProcess removal({"pw-cli", "destroy", std::to_string(sink)});
  ASSERT_TRUE(connection_->waitUntil([&] { return connection_->facts().sinks.empty(); }, 1h));
  EXPECT_GT(changes_, before);
}

}  // namespace
}  // namespace tolvane
