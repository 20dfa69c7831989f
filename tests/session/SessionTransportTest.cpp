#include <limits>

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::DoubleNear;

class SessionTransport : public SessionFixture {};

TEST_F(SessionTransport, ANewSessionIsEmptyAndIdle) {
  EXPECT_TRUE(session.playlistTracks().value().empty());
  EXPECT_EQ(session.currentTrackURL(), std::nullopt);
  EXPECT_EQ(index(), 0);
  EXPECT_EQ(position(), 0);
  EXPECT_EQ(duration(), 0);
  EXPECT_EQ(session.playbackProgress(), 0);
  EXPECT_FALSE(session.canPlayNext());
  EXPECT_EQ(session.outputVolume().value(), 1.0);
  EXPECT_EQ(session.outputBalance().value(), 0.0);
}

TEST_F(SessionTransport, NothingHappensOnAnEmptyList) {
  session.togglePausePlayback();
  session.previous();
  session.stopPlayback();
  session.playTrack(0, 0);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(session.player().audioPathStatus().value().kind, AudioPathStatus::Kind::ready);
}

TEST_F(SessionTransport, IndicesOutOfRangeAreIgnored) {
  load(2);
  for (const std::int64_t outside : {-1L, 2L, 99L}) {
    session.playTrack(outside, 0);
    EXPECT_FALSE(isPlaying()) << outside;
    EXPECT_EQ(index(), 0) << outside;
  }
}

TEST_F(SessionTransport, PlayingATrackMakesItCurrentAndShowsItsDuration) {
  load(3);
  session.playTrack(1, 0);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(index(), 1);
  EXPECT_EQ(session.currentTrackURL(), track(2));
  EXPECT_EQ(duration(), trackSeconds);
  EXPECT_EQ(position(), 0);
}

TEST_F(SessionTransport, AnotherTrackShowsNothingOfTheLastOneWhileItIsPrepared) {
  load(2);
  session.playTrack(0, 0.5);
  std::vector<std::pair<double, double>> shown;
  const auto subscription =
      session.player().currentURL().subscribe([&](const auto&) { shown.emplace_back(position(), duration()); });
  session.playTrack(1, 0);
  EXPECT_THAT(shown, testing::Each(std::pair(0.0, 0.0)));
  EXPECT_FALSE(shown.empty());
}

TEST_F(SessionTransport, ThePositionFollowsTheClockTwentyTimesASecond) {
  load(1);
  session.playTrack(0, 0);
  std::vector<double> seen;
  const auto subscription = session.playbackPosition().subscribe([&](double value) { seen.push_back(value); });
  advance(1);
  EXPECT_EQ(seen.size(), 20U);
  EXPECT_DOUBLE_EQ(position(), 1);
}

TEST_F(SessionTransport, TheStartFractionIsClamped) {
  struct Case {
    double fraction;
    double seconds;
  };
  load(1);
  for (const auto& [fraction, seconds] :
       {Case{0.4, 4}, Case{-1, 0}, Case{std::nan(""), 0}, Case{7, 10}, Case{HUGE_VAL, 10}}) {
    session.stopPlayback();
    session.playTrack(0, fraction);
    EXPECT_DOUBLE_EQ(position(), seconds) << fraction;
  }
}

TEST_F(SessionTransport, TheTrackThatIsLoadedIsSoughtAndNotPreparedAgain) {
  load(2);
  session.playTrack(0, 0);
  const int opens = files.openCount();
  session.playTrack(0, 0.5);
  EXPECT_EQ(files.openCount(), opens);
  EXPECT_DOUBLE_EQ(position(), 5);
  advance(1);
  EXPECT_DOUBLE_EQ(position(), 6);
}

TEST_F(SessionTransport, SeekingInAPausedTrackResumesIt) {
  load(1);
  session.playTrack(0, 0);
  session.togglePausePlayback();
  session.playTrack(0, 0.5);
  EXPECT_TRUE(isPlaying());
  advance(0.5);
  EXPECT_DOUBLE_EQ(position(), 5.5);
}

TEST_F(SessionTransport, APauseFreezesThePositionAndResumingGoesOnFromIt) {
  load(1);
  session.playTrack(0, 0);
  advance(2.51);
  session.togglePausePlayback();
  EXPECT_TRUE(isPaused());
  EXPECT_NEAR(position(), 2.51, oneFrame) << "the position is captured at the pause, not at the timer before it";
  advance(5);
  EXPECT_NEAR(position(), 2.51, oneFrame);
  session.togglePausePlayback();
  EXPECT_TRUE(isPlaying());
  advance(1);
  EXPECT_NEAR(position(), 3.51, 0.051);
}

TEST_F(SessionTransport, ATrackThatFailsToStartStaysCurrentWithoutADuration) {
  load(2);
  files.remove(track(2));
  session.playTrack(0, 0);
  advance(3);
  session.playTrack(1, 0);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(index(), 1);
  EXPECT_EQ(position(), 0);
  EXPECT_EQ(duration(), 0);
  EXPECT_EQ(session.player().audioPathStatus().value().kind, AudioPathStatus::Kind::error);
  advance(60);
  EXPECT_EQ(position(), 0);
}

TEST_F(SessionTransport, AnInterruptedTrackStartsWhereItStood) {
  load(1);
  session.playTrack(0, 0.4);
  interruptPlayback();
  EXPECT_NEAR(session.playbackProgress(), 0.4, 1e-6);
  session.togglePausePlayback();
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 4, 1e-6);
}

TEST_F(SessionTransport, AfterAResumeThatFailedNoTimePassesAndNoTrackFollows) {
  load(2);
  session.playTrack(0, 0.4);
  interruptPlayback();
  advance(60);
  EXPECT_NEAR(position(), 4, 1e-6);
  EXPECT_EQ(index(), 0);
  EXPECT_FALSE(isPlaying());
  session.moveTrack(0, 1);
  EXPECT_NEAR(position(), 4, 1e-6) << "brought up to date";
}

TEST_F(SessionTransport, ATrackThatStoodAtItsVeryEndStartsFromItsBeginning) {
  load(1);
  session.playTrack(0, 0.9995);
  interruptPlayback();
  session.togglePausePlayback();
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(position(), 0);
}

TEST_F(SessionTransport, PreviousGoesBackOnlyAtTheBeginningOfATrack) {
  struct Case {
    int from;
    double fraction;
    int expected;
  };
  load(3);
  for (const auto& [from, fraction, expected] :
       {Case{0, 0.04, 0}, Case{2, 0.06, 2}, Case{2, 0.03, 1}, Case{0, 0.06, 0}, Case{1, 0.05, 0}, Case{1, 0, 0}}) {
    session.stopPlayback();
    session.playTrack(from, fraction);
    session.previous();
    EXPECT_EQ(index(), expected) << from << " at " << fraction;
    EXPECT_EQ(position(), 0);
    EXPECT_TRUE(isPlaying());
    EXPECT_EQ(playingURL(), track(expected + 1));
  }
}

TEST_F(SessionTransport, StoppingKeepsTheTrackAndItsDuration) {
  load(2);
  session.playTrack(1, 0.5);
  session.stopPlayback();
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(index(), 1);
  EXPECT_EQ(position(), 0);
  EXPECT_EQ(duration(), trackSeconds);
  EXPECT_EQ(hardware.unitCount(), 0);
}

TEST_F(SessionTransport, StoppingAPausedTrackLetsTheDeviceGo) {
  load(1);
  session.playTrack(0, 0.5);
  session.togglePausePlayback();
  session.stopPlayback();
  EXPECT_FALSE(isPaused());
  EXPECT_EQ(position(), 0);
  EXPECT_EQ(hardware.unitCount(), 0);
}

TEST_F(SessionTransport, StoppingAnIdleSessionThatStandsAtItsBeginningChangesNothing) {
  load(1);
  int changes = 0;
  const auto subscription = session.onChange([&] { ++changes; });
  session.stopPlayback();
  EXPECT_EQ(changes, 0);
}

TEST_F(SessionTransport, ATrackThatEndsIsFollowedByTheNext) {
  load(2);
  session.playTrack(0, 0);
  playToTheEnd();
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(index(), 1);
  EXPECT_EQ(playingURL(), track(2));
  EXPECT_THAT(position(), DoubleNear(0.3, 0.3));
}

TEST_F(SessionTransport, TheListIsPlayedToItsEndAndNotRoundIt) {
  load(3);
  session.playTrack(0, 0);
  for (int i = 0; i < 3; ++i) playToTheEnd();
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(index(), 2);
  EXPECT_EQ(position(), trackSeconds);
  EXPECT_EQ(session.playbackProgress(), 1);
  EXPECT_EQ(session.player().playbackCompletionCount().value(), 3);
  advance(60);
  EXPECT_FALSE(isPlaying());

  session.togglePausePlayback();
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(index(), 2);
  EXPECT_EQ(position(), 0) << "at its end, a track starts again from its beginning";
}

TEST_F(SessionTransport, ATrackResumedAfterAPauseStillAdvances) {
  load(2);
  session.playTrack(0, 0.5);
  session.togglePausePlayback();
  session.togglePausePlayback();
  advance(5.5);
  EXPECT_EQ(index(), 1);
  EXPECT_TRUE(isPlaying());
}

TEST_F(SessionTransport, ATrackInTheMiddleThatCannotStartEndsTheAdvance) {
  load(3);
  files.remove(track(2));
  session.playTrack(0, 0);
  playToTheEnd();
  EXPECT_EQ(index(), 1);
  EXPECT_FALSE(isPlaying());
  advance(60);
  EXPECT_EQ(index(), 1) << "a broken track is shown, not skipped";
}

TEST_F(SessionTransport, TheSameFileTwiceInARowIsPlayedTwice) {
  const std::vector<FileURL> urls{addTrack(1), track(1)};
  session.loadPlaylist(urls, true);
  playToTheEnd();
  EXPECT_EQ(index(), 1);
  EXPECT_TRUE(isPlaying());
  playToTheEnd();
  EXPECT_EQ(session.player().playbackCompletionCount().value(), 2);
}

TEST_F(SessionTransport, EveryChangeOfTheEngineIsAChangeOfTheSession) {
  load(1);
  int changes = 0;
  const auto subscription = session.onChange([&] { ++changes; });
  session.setExclusiveAccessEnabled(true);
  EXPECT_EQ(changes, 1) << "only the engine's Exclusive Access status has changed";
}

TEST(SessionLifetime, NothingOutlivesASession) {
  ManualRunLoop runLoop;
  MemoryLog log;
  SimulatedAudioHardware hardware(runLoop);
  SimulatedAudioFileServices files;
  MemoryUserDefaults defaults;
  SimulatedFileBookmarks bookmarks;
  hardware.addDevice({});
  std::vector<std::string> writes;
  {
    PlayerSession session(hardware, files, defaults, bookmarks, runLoop, log);
    SimulatedPCMFile file;
    file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.data.resize(44100 * 4);
    files.add(FileURL("/a.wav"), file);
    const std::vector urls{FileURL("/a.wav")};
    session.loadPlaylist(urls, true);
    ASSERT_TRUE(session.player().isPlaying().value());
    runLoop.advance(std::chrono::milliseconds(500));  // another place than the saved one
    writes = defaults.writes();
  }
  EXPECT_EQ(defaults.writes(), writes) << "who ends the program has saved";
  EXPECT_EQ(runLoop.pendingTimerCount(), 0U);
  EXPECT_EQ(hardware.unitCount(), 0);
  EXPECT_EQ(hardware.listenerCount(), 0U);
  runLoop.advance(std::chrono::seconds(5));
}

TEST_F(SessionTransport, SeeksWithinTheTrackThatPlays) {
  load(2);
  session.playTrack(0, 0);
  session.seek(6);
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 6, oneFrame);
  advance(1);
  EXPECT_NEAR(position(), 7, 0.05);
  session.seek(1e9);
  EXPECT_EQ(position(), trackSeconds);
  session.seek(-1);
  EXPECT_EQ(position(), 0);
}

/// An output that recovers has no unit for half a second after a failed attempt.
TEST_F(SessionTransport, PausesAndSeeksWhileTheOutputRecovers) {
  load(2);
  session.playTrack(0, 0);
  advance(1);
  hardware.failNext(UnitStage::initialize, kAudioHardwareUnspecifiedError);
  hardware.device(dac).setNominalRateFromOutside(48000);
  advance(0.4);
  ASSERT_EQ(hardware.unitCount(), 0);
  session.togglePausePlayback();
  EXPECT_TRUE(isPaused());
  session.seek(6);
  advance(2);
  EXPECT_TRUE(isPaused());
  EXPECT_NEAR(position(), 6, oneFrame);
  session.togglePausePlayback();
  advance(1);
  EXPECT_NEAR(position(), 7, 0.05);
  advance(3.5);
  EXPECT_EQ(index(), 1) << "the next track follows";
  EXPECT_TRUE(isPlaying());
}

TEST_F(SessionTransport, StaysPausedWhenItSeeks) {
  load(1);
  session.playTrack(0, 0);
  session.togglePausePlayback();
  session.seek(6);
  EXPECT_TRUE(isPaused());
  EXPECT_EQ(position(), 6);
  session.togglePausePlayback();
  advance(1);
  EXPECT_NEAR(position(), 7, 0.05);
}

TEST_F(SessionTransport, SeeksNowhereWithoutALoadedTrackOrANumber) {
  session.seek(3);
  load(1);
  session.seek(3);
  EXPECT_EQ(position(), 0);
  session.playTrack(0, 0);
  session.seek(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(position(), 0);
}

}  // namespace
}  // namespace tolvane
