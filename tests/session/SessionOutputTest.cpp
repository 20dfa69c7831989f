#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

class SessionOutput : public SessionFixture {
 protected:
  [[nodiscard]] AudioPathStatus::Kind verdict() const { return session.player().audioPathStatus().value().kind; }
};

TEST_F(SessionOutput, TheVolumeStaysBetweenSilenceAndUntouched) {
  struct Case {
    double given;
    double kept;
  };
  for (const auto& [given, kept] : {Case{0.25, 0.25}, Case{-3, 0}, Case{2, 1}, Case{std::nan(""), 1}, Case{HUGE_VAL, 1},
                                    Case{-HUGE_VAL, 1}, Case{0, 0}}) {
    session.setOutputVolume(given);
    EXPECT_EQ(session.outputVolume().value(), kept) << given;
  }
}

TEST_F(SessionOutput, ABalanceNextToTheCentreIsTheCentre) {
  struct Case {
    double given;
    double kept;
  };
  for (const auto& [given, kept] : {Case{-0.5, -0.5}, Case{-3, -1}, Case{2, 1}, Case{0.5e-12, 0}, Case{-0.5e-12, 0},
                                    Case{1e-12, 1e-12}, Case{std::nan(""), 0}, Case{HUGE_VAL, 0}, Case{-HUGE_VAL, 0}}) {
    session.setOutputBalance(given);
    EXPECT_EQ(session.outputBalance().value(), kept) << given;
  }
}

TEST_F(SessionOutput, TheLevelsReachTheEngine) {
  load(1);
  session.playTrack(0, 0);
  ASSERT_EQ(verdict(), AudioPathStatus::Kind::bitPerfect);
  session.setOutputVolume(0.99);
  EXPECT_EQ(verdict(), AudioPathStatus::Kind::processed);
  session.setOutputVolume(1);
  EXPECT_EQ(verdict(), AudioPathStatus::Kind::bitPerfect);
  session.setOutputBalance(0.1);
  EXPECT_EQ(verdict(), AudioPathStatus::Kind::processed);
  session.setOutputBalance(0.5e-12);
  EXPECT_EQ(verdict(), AudioPathStatus::Kind::bitPerfect);
}

TEST_F(SessionOutput, ATrackGoesOnAtTheSamePlaceOnAnotherDevice) {
  const AudioObjectID second = hardware.addDevice({.name = "Second"});
  load(1);
  session.playTrack(0, 0.3);
  advance(1.01);
  session.setOutputDevice(second);
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 4.01, oneFrame);
  EXPECT_EQ(duration(), trackSeconds);
  advance(1);
  EXPECT_NEAR(position(), 5.01, 0.051);
  advance(6);
  EXPECT_EQ(session.player().playbackCompletionCount().value(), 1) << "the engine stands where the display does";
}

TEST_F(SessionOutput, ChoosingADeviceWhilePausedKeepsThePosition) {
  const AudioObjectID second = hardware.addDevice({.name = "Second"});
  load(1);
  session.playTrack(0, 0.3);
  session.togglePausePlayback();
  session.setOutputDevice(second);
  EXPECT_TRUE(isPaused());
  EXPECT_NEAR(position(), 3, oneFrame);
}

TEST_F(SessionOutput, ChoosingADeviceThatCannotPlayKeepsThePosition) {
  load(1);
  session.playTrack(0, 0.3);
  session.setOutputDevice(4711);
  EXPECT_NEAR(position(), 3, oneFrame);
  advance(10);
  EXPECT_LE(position(), trackSeconds);
}

TEST_F(SessionOutput, SwitchingExclusiveAccessWhilePlayingGoesOnFromTheSameFrame) {
  load(1);
  session.playTrack(0, 0.5);
  advance(1);
  session.setExclusiveAccessEnabled(true);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(session.player().exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::active);
  EXPECT_NEAR(position(), 6, 0.05);
  const double resumedAt = position();
  advance(1);
  EXPECT_NEAR(position(), resumedAt + 1, 0.051);
}

TEST_F(SessionOutput, SwitchingExclusiveAccessWhilePausedShowsTheFrameAtWhichItStands) {
  load(1);
  session.playTrack(0, 0.5);
  session.togglePausePlayback();
  session.setExclusiveAccessEnabled(true);
  EXPECT_TRUE(isPaused());
  EXPECT_NEAR(position(), 5, 0.05);
  advance(3);
  EXPECT_NEAR(position(), 5, 0.05);
}

TEST_F(SessionOutput, SwitchingExclusiveAccessWhileIdleChangesNoPosition) {
  load(1);
  session.setKnownDuration(10, track(1));
  session.setExclusiveAccessEnabled(true);
  EXPECT_EQ(duration(), 10);
  EXPECT_EQ(session.player().exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::requested);
}

}  // namespace
}  // namespace tolvane
