#include "session/SessionProxy.h"

#include <gmock/gmock.h>

#include <set>

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// Where readers wait that have not begun.
struct Readers {
  std::vector<BackgroundWork> reading;
};

/// A window over a player whose tracks are read when the test says so.
class Proxy : protected Readers, public ProxyFixture {
 protected:
  Proxy()
      : ProxyFixture([this](BackgroundWork work) { reading.push_back(std::move(work)); }),
        changes(proxy.onChange([this](const SessionState&, const SessionState& now) { seen.push_back(now); })) {}

  void load(int count) {
    ProxyFixture::load(count);
    finishReading();  // bookmarks
  }
  void finishReading() {
    settle();
    for (const auto& work : std::exchange(reading, {})) work();
    settle();
  }
  /// Three tracks of ten seconds, the first of which plays.
  void playThreeTracks() {
    load(3);
    proxy.playTrack(0, 0);
    finishReading();
    ASSERT_TRUE(state().isPlaying);
    seen.clear();
  }

  std::vector<SessionState> seen;
  Subscription changes;
};

TEST_F(Proxy, ShowsATrackThatWasChosenAtOnce) {
  playThreeTracks();
  proxy.playTrack(1, 0.25);
  EXPECT_EQ(proxy.currentTrackURL(), track(2)) << "before any loop has turned";
  EXPECT_TRUE(state().isPreparing);
  EXPECT_FALSE(state().isPlaying);
  EXPECT_EQ(state().audioPathStatus.label, "CHECKING");
  settle();
  EXPECT_TRUE(state().isPreparing) << "the player says so, too";
  EXPECT_EQ(state().position, 0);
  advance(3);
  EXPECT_EQ(state().position, 0) << "no clock runs";
  finishReading();
  EXPECT_TRUE(state().isPlaying);
  EXPECT_EQ(state().position, 2.5);
  EXPECT_EQ(playingURL(), track(2));
}

TEST_F(Proxy, PreparesOneTrackForFiveClicksOnNext) {
  load(7);
  proxy.playTrack(0, 0);
  settle();
  reading.clear();
  for (int click = 0; click < 5; ++click) proxy.next();
  EXPECT_EQ(proxy.currentTrackURL(), track(6));
  settle();
  EXPECT_THAT(reading, SizeIs(1));
  finishReading();
  EXPECT_EQ(playingURL(), track(6));
}

TEST_F(Proxy, StopsWhileATrackIsPrepared) {
  playThreeTracks();
  proxy.playTrack(2, 0);
  settle();
  proxy.stopPlayback();
  EXPECT_FALSE(state().isPreparing);
  settle();
  EXPECT_EQ(state().audioPathStatus.label, "READY");
  EXPECT_EQ(hardware.unitCount(), 0);
  ASSERT_THAT(reading, Not(IsEmpty())) << "the reader that was left behind";
  finishReading();
  EXPECT_FALSE(state().isPlaying) << "what it brings is dropped";
  EXPECT_EQ(state().currentIndex, 2);
}

TEST_F(Proxy, DoesNotStartATrackThatWasPausedWhileItWasPrepared) {
  playThreeTracks();
  proxy.playTrack(1, 0.5);
  settle();
  proxy.togglePausePlayback();
  EXPECT_FALSE(state().isGoingToPlay());
  hardware.failNext(UnitStage::start, kAudioHardwareUnspecifiedError);  // an attempt to start the device now fails
  finishReading();
  EXPECT_TRUE(state().isPaused);
  EXPECT_EQ(state().position, 5);
  hardware.failNext(UnitStage::start, kAudioHardwareUnspecifiedError, 0);
  proxy.togglePausePlayback();
  settle();
  EXPECT_TRUE(state().isPlaying);
  EXPECT_EQ(state().position, 5);
  advance(1);
  EXPECT_EQ(state().position, 6);
}

TEST_F(Proxy, GoesOnAfterAllWhenThePauseIsTakenBack) {
  load(1);
  proxy.playTrack(0, 0);
  settle();
  proxy.setPlaying(false);
  settle();
  proxy.setPlaying(true);
  finishReading();
  EXPECT_TRUE(state().isPlaying);
}

TEST_F(Proxy, MovesTheStartOfATrackThatIsPrepared) {
  load(1);
  proxy.playTrack(0, 0.2);
  settle();
  proxy.playTrack(0, 0.7);
  settle();
  EXPECT_THAT(reading, SizeIs(1)) << "the same preparation serves";
  finishReading();
  EXPECT_EQ(state().position, 7);
}

TEST_F(Proxy, TakesAnotherDeviceForATrackThatIsPrepared) {
  const auto other = hardware.addDevice({.name = "Other"});
  playThreeTracks();
  proxy.playTrack(1, 0);
  settle();
  proxy.selectOutputDevice(other);
  EXPECT_EQ(state().selectedDevice->id, other);
  finishReading();
  EXPECT_TRUE(state().isPlaying);
  EXPECT_EQ(hardware.device(other).openUnitCount(), 1U);
  EXPECT_EQ(hardware.device(dac).openUnitCount(), 0U);
}

TEST_F(Proxy, GoesOnAtTheSamePlaceOnAnotherDevice) {
  const auto other = hardware.addDevice({.name = "Other"});
  playThreeTracks();
  advance(4);
  proxy.selectOutputDevice(other);
  settle();
  EXPECT_TRUE(state().isPreparing);
  EXPECT_EQ(state().position, 4) << "the place stays while the track is read once more";
  advance(2);
  EXPECT_EQ(state().position, 4);
  finishReading();
  EXPECT_EQ(hardware.device(other).openUnitCount(), 1U);
  EXPECT_EQ(state().position, 4);
  EXPECT_NEAR(position(), 4, oneFrame);
}

TEST_F(Proxy, ReportsHowFarThePreparationIs) {
  load(1);
  proxy.playTrack(0, 0);
  settle();
  EXPECT_EQ(state().preparationProgress, 0);
  bool sawMore = false;
  for (const auto& work : std::exchange(reading, {})) {
    work();
    sawMore = session.player().preparationProgress() > 0;
  }
  EXPECT_TRUE(sawMore);
  settle();
  EXPECT_EQ(state().preparationProgress, 0) << "nothing is prepared any more";
}

TEST_F(Proxy, SetsLevelsAtOnceAndTheLastOneCounts) {
  playThreeTracks();
  for (const double volume : {0.9, 0.6, 0.3}) {
    proxy.setOutputVolume(volume);
    EXPECT_EQ(state().outputVolume, volume);
  }
  proxy.setOutputBalance(-0.5);
  EXPECT_EQ(state().outputBalance, -0.5);
  defaults.forgetWrites();
  settle();
  EXPECT_EQ(session.outputVolume().value(), 0.3);
  EXPECT_EQ(session.outputBalance().value(), -0.5);
  EXPECT_EQ(std::ranges::count(defaults.writes(), "TolvanePlayer.OutputVolume"), 1) << "the others had not begun";
}

TEST_F(Proxy, CarriesCommandsOutInTheirOrder) {
  load(3);
  proxy.moveTrack(0, 2);
  proxy.playTrack(2, 0);  // the one that has just been moved
  proxy.setOutputVolume(0.5);
  proxy.stopPlayback();
  finishReading();
  EXPECT_THAT(order(), ElementsAre(2, 3, 1));
  EXPECT_EQ(state().currentIndex, 2);
  EXPECT_FALSE(state().isPlaying);
  EXPECT_EQ(session.outputVolume().value(), 0.5);
}

TEST_F(Proxy, KeepsShowingWhatWasAskedForUntilThePlayerAnswers) {
  playThreeTracks();
  proxy.setOutputVolume(0.5);
  session.setOutputBalance(0.25);  // a state from before the command
  EXPECT_EQ(state().outputVolume, 0.5);
  settle();
  EXPECT_EQ(state().outputVolume, 0.5);
  EXPECT_EQ(state().outputBalance, 0.25);
  for (const auto& shown : seen) EXPECT_EQ(shown.outputVolume, 0.5) << "never back to the old value";
  EXPECT_GE(seen.size(), 2U);
}

TEST_F(Proxy, GoesBackOnlyAtTheBeginningOfATrack) {
  load(3);
  proxy.playTrack(1, 0.06);
  finishReading();
  proxy.previous();
  EXPECT_EQ(state().currentIndex, 1);
  EXPECT_EQ(state().position, 0);
  proxy.previous();
  EXPECT_EQ(state().currentIndex, 0);
}

TEST_F(Proxy, CountsThePositionItself) {
  playThreeTracks();
  advance(0.05);
  EXPECT_EQ(state().position, 0.05);
  runLoop.advance(std::chrono::milliseconds(33));
  proxy.updatePlaybackPosition();
  EXPECT_NEAR(state().position, 0.083, 1e-9);
  advance(1.917);
  EXPECT_NEAR(state().position, 2, 1e-9);
  EXPECT_GE(seen.size(), 40U) << "twenty times a second";
}

TEST_F(Proxy, HasNoTimersWhileNothingPlays) {
  load(1);
  const auto timers = runLoop.pendingTimerCount();
  proxy.playTrack(0, 0);
  finishReading();
  EXPECT_GT(runLoop.pendingTimerCount(), timers);
  proxy.stopPlayback();
  settle();
  advance(1);
  EXPECT_EQ(runLoop.pendingTimerCount(), timers);
}

TEST_F(Proxy, IgnoresRowsThatAreNotThere) {
  load(2);
  seen.clear();
  for (const std::int64_t row : {std::int64_t{-1}, std::int64_t{2}}) {
    proxy.playTrack(row, 0);
    proxy.moveTrack(row, 0);
  }
  proxy.loadPlaylist({}, true);
  EXPECT_THAT(seen, IsEmpty());
  settle();
  EXPECT_THAT(reading, IsEmpty());
}

TEST_F(Proxy, SavesPositionPlaylistAndPlaceInThisOrder) {
  playThreeTracks();
  advance(1.03);
  defaults.forgetWrites();
  proxy.save();
  settle();
  EXPECT_THAT(defaults.writes(), ElementsAre("TolvanePlayer.SavedPlaylist", "TolvanePlayer.SavedPlaybackState"));
  EXPECT_NEAR(position(), 1.03, 1e-9);
}

TEST_F(Proxy, KeepsTheChoiceOfExclusiveAccess) {
  EXPECT_FALSE(state().isExclusiveAccessEnabled);
  proxy.setExclusiveAccessEnabled(true);
  EXPECT_TRUE(state().isExclusiveAccessEnabled);
  settle();
  EXPECT_EQ(defaults.value<bool>("TolvanePlayer.ExclusiveAccessEnabled"), true);
  EXPECT_EQ(state().exclusiveAccessStatus.kind, ExclusiveAccessStatus::Kind::requested);
  host.reset();
  host.emplace(SessionHost::Services{hardware, files, defaults, bookmarks, runLoop, log}, link);
  settle();
  EXPECT_TRUE(state().isExclusiveAccessEnabled);
  EXPECT_EQ(host->session().player().exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::requested);
}

TEST_F(Proxy, OutlivesThePlayer) {
  playThreeTracks();
  host.reset();
  proxy.stopPlayback();
  proxy.save();
  advance(2);
  EXPECT_FALSE(state().isPlaying);
}

TEST_F(Proxy, HasTheStagesOfThePathWithTheVerdict) {
  playThreeTracks();
  ASSERT_NE(state().signalPath, nullptr);
  EXPECT_EQ(chainText(*state().signalPath),
            "WAV 16-bit 44.1 kHz → untouched → shared, 44.1 kHz → 16-bit 44.1 kHz · DAC");
  const auto before = state().signalPath;
  advance(5);
  EXPECT_EQ(state().signalPath, before) << "one value, as long as nothing changes";
  proxy.playTrack(1, 0);
  EXPECT_EQ(state().signalPath, nullptr) << "no verdict is shown, before any loop has turned";
  finishReading();
  ASSERT_NE(state().signalPath, nullptr);
  proxy.stopPlayback();
  settle();
  EXPECT_EQ(state().signalPath, nullptr);
}

TEST_F(Proxy, HasDiagnosticsOnlyWhileItAsksForThem) {
  playThreeTracks();
  advance(3);
  EXPECT_EQ(state().diagnostics, nullptr);
  const auto timers = runLoop.pendingTimerCount();

  proxy.watchPath(true);
  settle();
  ASSERT_NE(state().diagnostics, nullptr);
  EXPECT_EQ(runLoop.pendingTimerCount(), timers + 1);
  EXPECT_THAT(state().diagnostics->history, SizeIs(3));
  const auto first = state().diagnostics;
  seen.clear();
  advance(2);
  EXPECT_GT(state().diagnostics->framesHandedOver, first->framesHandedOver);
  std::set<const PathDiagnostics*> different;
  for (const SessionState& each : seen) different.insert(each.diagnostics.get());
  EXPECT_THAT(different, SizeIs(testing::AllOf(testing::Ge(4U), testing::Le(5U)))) << "twice a second";

  proxy.watchPath(false);
  EXPECT_EQ(state().diagnostics, nullptr) << "at once";
  settle();
  EXPECT_EQ(state().diagnostics, nullptr);
  EXPECT_EQ(runLoop.pendingTimerCount(), timers);
}

}  // namespace
}  // namespace tolvane
