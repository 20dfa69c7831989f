// A device and its unit over a PCM whose driver does not return. The test's own thread lets the driver hang and come
// back; while it hangs, another thread does what the player's thread does.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <future>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "platform/alsa/AlsaOutputUnit.h"
#include "platform/alsa/cards/AlsaDevice.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/platform/alsa/scripted/ScriptedPcm.h"
#include "tests/support/ManualDeviceTime.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using enum ScriptedPcm::Place;
using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr AudioObjectID deviceId = 2;
constexpr double playedRate = 48000;

/// What a unit renders. Destroyed as the engine does it: right after the unit.
struct RenderSource {
  std::atomic<int>& cycles;

  static OSStatus render(void* self, std::uint32_t, AudioBufferList*) noexcept {
    static_cast<RenderSource*>(self)->cycles.fetch_add(1);
    return noErr;
  }
};

/// Gives every card, and knows on which thread it came back.
class OneReservation final : public DeviceReservation {
 public:
  void setHandlers(Handlers) override {}
  std::optional<Owner> owner(int) override { return std::nullopt; }
  std::expected<Hold, Refusal> acquire(int, const std::string&) override {
    auto hold = hold_.lock();
    if (!hold) {
      hold = {this, [this](void*) { releasedBy_.push_back(std::this_thread::get_id()); }};
      hold_ = hold;
    }
    return hold;
  }
  [[nodiscard]] const std::vector<std::thread::id>& releasedBy() const { return releasedBy_; }

 private:
  std::weak_ptr<void> hold_;
  std::vector<std::thread::id> releasedBy_;
};

class AlsaHangingDriver : public testing::Test, public AlsaOutputUnit::Host {
 protected:
  AlsaHangingDriver() {
    folder_.write("asound/card0/pcm0p/sub0/status", "closed\n");
    folder_.write("asound/card0/pcm0p/sub0/hw_params", "closed\n");
    system_.paths.asound = (folder_.path() / "asound").string();
    device_ = std::make_shared<AlsaDevice>(
        AlsaDeviceInfo{"dac:0", "Studio DAC", kAudioDeviceTransportTypePCI, 0, 0, "DAC"}, deviceId, 3, system_);
    EXPECT_EQ(device_->setNominalRate(playedRate), noErr);
  }

  ~AlsaHangingDriver() override { pcm_.letGo(); }  // also ends a test that has failed half way

  // AlsaOutputUnit::Host
  std::shared_ptr<AlsaDevice> deviceWithId(AudioObjectID id) override { return id == deviceId ? device_ : nullptr; }
  void deviceFailed(AudioObjectID) override { ++failures_; }
  RunLoop& runLoop() override { return runLoop_; }
  Log& log() override { return log_; }
  const std::function<bool(pid_t)>& makeRealtime() override { return makeRealtime_; }

  void makeUnit() {
    unit_ = std::make_unique<AlsaOutputUnit>(*this);
    using Property = AudioUnitProperty;
    const auto format = linearPCM(playedRate, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    ASSERT_EQ(unit_->setProperty(Property::currentDevice, AudioUnitScope::global, 0, deviceId), noErr);
    ASSERT_EQ(unit_->setProperty(Property::streamFormat, AudioUnitScope::input, 0, format), noErr);
    source_ = std::make_unique<RenderSource>(cycles_);
    ASSERT_EQ(unit_->setProperty(Property::setRenderCallback, AudioUnitScope::input, 0,
                                 AURenderCallback{&RenderSource::render, source_.get()}),
              noErr);
  }
  void play() {
    makeUnit();
    ASSERT_EQ(unit_->initialize(), noErr);
    ASSERT_EQ(unit_->start(), noErr);
    ASSERT_TRUE(pcm_.waitUntil(&ScriptedPcm::isFull));
  }
  /// In the engine's order.
  void destroyUnit() {
    unit_.reset();
    source_.reset();
  }

  /// What the action gives while the driver hangs there, once the player's thread has waited long enough.
  template <typename Action>
  auto leavingBehind(ScriptedPcm::Place place, Action action) {
    pcm_.hang(place);
    auto done = std::async(std::launch::async, std::move(action));
    EXPECT_TRUE(pcm_.waitUntil(&ScriptedPcm::isHanging));
    time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
    time_->advance(DeviceCalls::patience);
    return done.get();
  }
  /// The driver returns, and every abandoned call ends.
  void comeBack() {
    time_->advance(2s);
    pcm_.letGo();
    settle();
  }
  /// Until the player's thread knows of it: the last thing that a call does is to post that.
  void settle() {
    for (const int before = settled_; settled_ == before; runLoop_.runUntilIdle()) std::this_thread::yield();
    EXPECT_FALSE(device_->calls().isHeldUp());
  }

  [[nodiscard]] std::int32_t renderError() const {
    return std::get<std::int32_t>(
        unit_->property(AudioUnitProperty::lastRenderError, AudioUnitScope::global, 0).value());
  }
  [[nodiscard]] bool isRunning() const {
    return std::get<std::uint32_t>(unit_->property(AudioUnitProperty::isRunning, AudioUnitScope::global, 0).value()) !=
           0;
  }

  test::TemporaryFolder folder_;
  ManualRunLoop runLoop_;
  MemoryLog log_;
  const std::shared_ptr<test::ManualDeviceTime> time_ = std::make_shared<test::ManualDeviceTime>();
  DeviceCalls calls_{runLoop_, log_, time_};
  OneReservation reservation_;
  int settled_ = 0;
  AlsaDevice::System system_{{}, runLoop_, calls_, &reservation_, [](auto, auto) {}, [this](int) { ++settled_; }};
  const std::function<bool(pid_t)> makeRealtime_;
  ScriptedPcm pcm_;
  std::shared_ptr<AlsaDevice> device_;
  std::atomic<int> cycles_{0};
  std::unique_ptr<RenderSource> source_;
  std::unique_ptr<AlsaOutputUnit> unit_;
  int failures_ = 0;
};

TEST_F(AlsaHangingDriver, PlaysAsLongAsItReturns) {
  play();
  pcm_.play(500);
  EXPECT_TRUE(isRunning());
  EXPECT_EQ(unit_->stop(), noErr);
  EXPECT_EQ(unit_->framesPlayed(), 500);
  const int closesBefore = pcm_.closes();
  EXPECT_EQ(unit_->uninitialize(), noErr);
  EXPECT_EQ(pcm_.closes(), closesBefore + 1) << "closed when the unit has let go of it, not some time later";
  EXPECT_FALSE(device_->calls().isHeldUp());
  EXPECT_EQ(settled_, 0);
}

TEST_F(AlsaHangingDriver, FailsAtOnceWhileItsOpeningHangs) {
  makeUnit();
  EXPECT_EQ(leavingBehind(open, [this] { return unit_->initialize(); }), kAudioHardwareNotReadyError);
  EXPECT_THAT(log_.messages(),
              ElementsAre("Studio DAC does not answer: a call into its driver was left behind after 10 s"));

  const int opens = pcm_.opens();
  EXPECT_EQ(unit_->initialize(), kAudioHardwareNotReadyError);
  EXPECT_EQ(device_->setNominalRate(44100), kAudioHardwareNotReadyError);
  EXPECT_EQ(device_->toggleHog(), kAudioHardwareNotReadyError);
  EXPECT_EQ(device_->hogOwner(), std::unexpected(kAudioHardwareNotReadyError));
  EXPECT_EQ(device_->volumeDecibels(), std::nullopt);
  EXPECT_EQ(device_->nominalRate(), playedRate) << "the last known value is still reported";
  EXPECT_EQ(device_->availableRates().value().size(), 4U);
  EXPECT_EQ(pcm_.opens(), opens);
  destroyUnit();

  const int closes = pcm_.closes();
  comeBack();
  EXPECT_EQ(pcm_.closes(), closes + 1) << "what was opened too late";
  EXPECT_EQ(pcm_.closedBy(), pcm_.openedBy()) << "where nothing of the hardware need be there any more";
  EXPECT_EQ(settled_, 1);
  EXPECT_THAT(log_.messages(), testing::Contains("Studio DAC: the call that hung in its driver ended after 12 s"));
  play();
  EXPECT_EQ(unit_->stop(), noErr) << "and it plays again";
}

TEST_F(AlsaHangingDriver, LearnsNothingWhileTheFirstOpeningHangs) {
  const auto fresh = std::make_shared<AlsaDevice>(device_->info(), deviceId, 3, system_);
  const auto rates = leavingBehind(open, [&] { return fresh->availableRates(); });
  EXPECT_EQ(rates, std::unexpected(kAudioHardwareNotReadyError));
  const int opens = pcm_.opens();
  EXPECT_EQ(fresh->availableRates(), std::unexpected(kAudioHardwareNotReadyError));
  EXPECT_EQ(fresh->nominalRate(), std::unexpected(kAudioHardwareNotReadyError));
  EXPECT_EQ(pcm_.opens(), opens);
  EXPECT_EQ(device_->setNominalRate(44100), noErr) << "another device answers";
  pcm_.letGo();
  while (fresh->calls().isHeldUp()) std::this_thread::yield();
  EXPECT_EQ(fresh->availableRates().value().size(), 4U);
}

TEST_F(AlsaHangingDriver, ClosesAPcmThatWasSetUpTooLate) {
  makeUnit();
  EXPECT_EQ(leavingBehind(setUp, [this] { return unit_->initialize(); }), kAudioHardwareNotReadyError);
  EXPECT_FALSE(isRunning());
  const int closes = pcm_.closes();
  destroyUnit();
  EXPECT_EQ(pcm_.closes(), closes) << "nothing may close what hangs";
  comeBack();
  EXPECT_EQ(pcm_.closes(), closes + 1);
}

TEST_F(AlsaHangingDriver, StopsWaitingWhenTheUserWantsSomethingElse) {
  makeUnit();
  pcm_.hang(open);
  auto done = std::async(std::launch::async, [this] { return unit_->initialize(); });
  ASSERT_TRUE(pcm_.waitUntil(&ScriptedPcm::isHanging));
  const auto waiting = calls_.waiting();
  ASSERT_TRUE(waiting);
  EXPECT_EQ(waiting->who, "Studio DAC");
  calls_.interrupt();
  time_->awaitWaitUntil(waiting->since + 1s);
  time_->advance(1s);
  EXPECT_EQ(done.get(), kAudioHardwareNotReadyError);
  destroyUnit();
  comeBack();
}

TEST_F(AlsaHangingDriver, NeverCallsTheRenderCallbackAgainOnceAStartWasLeftBehind) {
  makeUnit();
  ASSERT_EQ(unit_->initialize(), noErr);
  EXPECT_EQ(leavingBehind(prepare, [this] { return unit_->start(); }), kAudioHardwareNotReadyError);
  EXPECT_FALSE(isRunning());
  EXPECT_EQ(renderError(), kAudioHardwareNotReadyError);
  EXPECT_EQ(renderError(), noErr) << "reading clears it";
  EXPECT_EQ(unit_->start(), kAudioHardwareNotReadyError) << "it is dead";
  EXPECT_EQ(unit_->framesPlayed(), 0);
  EXPECT_EQ(cycles_, 0);
  const int closes = pcm_.closes();
  destroyUnit();
  comeBack();
  EXPECT_EQ(cycles_, 0) << "the ring was filled with something else";
  EXPECT_EQ(pcm_.closes(), closes + 1);
}

TEST_F(AlsaHangingDriver, LeavesARenderThreadBehindThatHangs) {
  play();
  pcm_.play(500);
  const int cycles = cycles_;
  EXPECT_GT(cycles, 0);
  pcm_.hang(room);
  pcm_.wake();
  ASSERT_TRUE(pcm_.waitUntil(&ScriptedPcm::isHanging));
  EXPECT_TRUE(isRunning()) << "the failure has not been detected yet";
  auto done = std::async(std::launch::async, [this] { return unit_->stop(); });
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  time_->advance(DeviceCalls::patience);
  EXPECT_EQ(done.get(), kAudioHardwareNotReadyError);
  EXPECT_FALSE(isRunning());
  EXPECT_EQ(unit_->framesPlayed(), 500) << "the device's last reported position";
  EXPECT_EQ(unit_->underrunCount(), 0U);
  EXPECT_EQ(unit_->stop(), noErr) << "it is stopped";
  EXPECT_EQ(unit_->uninitialize(), noErr);
  EXPECT_EQ(unit_->initialize(), kAudioHardwareNotReadyError) << "its device is held up";
  destroyUnit();
  const int closes = pcm_.closes();
  comeBack();
  EXPECT_EQ(cycles_, cycles);
  EXPECT_EQ(pcm_.closes(), closes + 1);
  EXPECT_EQ(settled_, 1);
  play();
  EXPECT_GT(cycles_, cycles) << "a new unit plays";
}

TEST_F(AlsaHangingDriver, LeavesAStopBehindThatHangs) {
  play();
  pcm_.play(500);
  EXPECT_EQ(leavingBehind(drop, [this] { return unit_->stop(); }), kAudioHardwareNotReadyError);
  EXPECT_EQ(unit_->framesPlayed(), 500);
  destroyUnit();
  const int closes = pcm_.closes();
  comeBack();
  EXPECT_EQ(pcm_.closes(), closes + 1);
}

TEST_F(AlsaHangingDriver, LeavesAClosingBehindThatHangs) {
  play();
  EXPECT_EQ(unit_->stop(), noErr);
  EXPECT_EQ(leavingBehind(close, [this] { return unit_->uninitialize(); }), noErr) << "the unit is uninitialised";
  destroyUnit();
  EXPECT_TRUE(device_->calls().isHeldUp());
  const int closes = pcm_.closes();
  comeBack();
  EXPECT_EQ(pcm_.closes(), closes + 1);
}

TEST_F(AlsaHangingDriver, EndsAUnitByItselfWhoseDeviceAnotherCallHoldsUp) {
  play();
  // The kernel's files wait for the driver's locks: this one for a writer.
  const auto status = folder_.path() / "asound/card0/pcm0p/sub0/status";
  std::filesystem::remove(status);
  ASSERT_EQ(mkfifo(status.c_str(), 0600), 0);
  auto reading = std::async(std::launch::async, [this] { return device_->actualRate(); });
  time_->awaitWaitUntil(time_->now() + DeviceCalls::patience);
  time_->advance(DeviceCalls::patience);
  EXPECT_EQ(reading.get(), std::unexpected(kAudioHardwareNotReadyError));
  EXPECT_TRUE(isRunning()) << "the music plays on";

  const int closes = pcm_.closes();
  pcm_.hang(drop);
  EXPECT_EQ(unit_->stop(), kAudioHardwareNotReadyError) << "without a wait, and without a call that hangs here";
  destroyUnit();
  ASSERT_TRUE(pcm_.waitUntil(&ScriptedPcm::isHanging));
  pcm_.letGo();
  EXPECT_TRUE(pcm_.waitUntil([&](const auto& pcm) { return pcm.closes() == closes + 1; }));

  EXPECT_TRUE(device_->calls().isHeldUp());
  const int writer = ::open(status.c_str(), O_WRONLY);  // NOLINT: a FIFO
  ASSERT_GE(writer, 0);
  ::close(writer);
  settle();
  EXPECT_EQ(settled_, 1);
}

TEST_F(AlsaHangingDriver, KeepsTheReservationUntilThePcmIsReallyClosed) {
  ASSERT_EQ(device_->toggleHog(), noErr);
  play();
  EXPECT_EQ(leavingBehind(drop, [this] { return unit_->stop(); }), kAudioHardwareNotReadyError);
  destroyUnit();
  EXPECT_EQ(device_->hogOwner(), getpid());
  EXPECT_EQ(device_->toggleHog(), noErr) << "it is given up without a wait";
  EXPECT_EQ(device_->hogOwner(), std::unexpected(kAudioHardwareNotReadyError));
  EXPECT_THAT(reservation_.releasedBy(), IsEmpty());

  pcm_.letGo();
  while (device_->calls().isHeldUp()) std::this_thread::yield();
  EXPECT_THAT(reservation_.releasedBy(), IsEmpty()) << "not on the thread of the call";
  runLoop_.runUntilIdle();
  EXPECT_THAT(reservation_.releasedBy(), ElementsAre(std::this_thread::get_id()));
  EXPECT_EQ(device_->hogOwner(), -1);
}

TEST_F(AlsaHangingDriver, GivesTheReservationBackAtOnceWhereItReturns) {
  ASSERT_EQ(device_->toggleHog(), noErr);
  play();
  device_->yield();
  EXPECT_THAT(reservation_.releasedBy(), ElementsAre(std::this_thread::get_id()))
      << "another program is answered when this returns";
  EXPECT_EQ(failures_, 1);
}

TEST_F(AlsaHangingDriver, YieldsNothingToAnotherProgramWhileItHangs) {
  ASSERT_EQ(device_->toggleHog(), noErr);
  play();
  leavingBehind(drop, [this] {
    device_->yield();
    return 0;
  });
  EXPECT_THAT(reservation_.releasedBy(), IsEmpty()) << "the other program is refused";
  EXPECT_EQ(renderError(), kAudioHardwareNotReadyError);
  EXPECT_FALSE(isRunning());
  EXPECT_EQ(unit_->stop(), kAudioHardwareNotReadyError);
  destroyUnit();
  comeBack();
  EXPECT_THAT(reservation_.releasedBy(), ElementsAre(std::this_thread::get_id()));
}

}  // namespace
}  // namespace tolvane
