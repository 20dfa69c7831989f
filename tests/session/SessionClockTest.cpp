// The clock of the track that plays, beside what the device has played.

#include <algorithm>

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

class SessionClock : public SessionFixture {
 protected:
  /// Plays a track of 20 s on a device that pulls so many frames at a time.
  void playOn(std::uint32_t periodFrames, double clockErrorPPM = 0) {
    SimulatedDeviceConfig config;
    config.clockErrorPPM = clockErrorPPM;
    config.periodFrames = config.bufferFrameSize = periodFrames;
    dac = hardware.addDevice(config);
    session.setOutputDevice(dac);
    session.loadPlaylist(std::vector{addTrack(1, 20)}, true);
    ASSERT_TRUE(isPlaying());
  }
  [[nodiscard]] double heard() const { return session.player().position().value(); }
};

TEST_F(SessionClock, RunsEvenlyWhateverThePeriod) {
  for (const std::uint32_t period : {64U, 512U, 2048U, 4096U}) {
    playOn(period);
    advance(0.3);
    const auto startedAt = session.playbackStartedAt();
    double last = position();
    for (int turn = 0; turn < 200; ++turn) {
      advance(0.025);
      EXPECT_GE(position(), last) << period;
      last = position();
    }
    EXPECT_EQ(session.playbackStartedAt(), startedAt) << period;
    EXPECT_NEAR(position(), heard(), 0.1) << period;
  }
}

TEST_F(SessionClock, StandsWhileTheDeviceDoesAndGoesOnWithIt) {
  playOn(512);
  advance(2);
  hardware.device(dac).stall();
  const double stalledAt = heard();
  advance(0.4);
  EXPECT_NEAR(position(), stalledAt, 0.1);
  hardware.device(dac).goOn();
  advance(1);
  EXPECT_NEAR(position(), heard(), 0.1);
  EXPECT_NEAR(heard(), stalledAt + 1, 0.1);
}

TEST_F(SessionClock, FollowsADeviceWhoseCrystalIsFast) {
  playOn(512, 20'000);  // far more than any has, so that it shows within seconds
  advance(8);
  EXPECT_NEAR(position(), heard(), 0.1);
  EXPECT_GT(position(), 8.1);
}

TEST_F(SessionClock, ShowsWhatWasHeardWhenItPauses) {
  playOn(4096);
  advance(3.01);
  session.togglePausePlayback();
  EXPECT_EQ(position(), heard());
  advance(1);
  EXPECT_EQ(position(), heard());
}

TEST_F(SessionClock, OnAnotherDeviceGoesOnBehindACrossingThatWasNotNoticed) {
  SimulatedDeviceConfig config;
  dac = hardware.addDevice(config);
  session.setOutputDevice(dac);
  const std::vector tracks{addTrack(1, 3), addTrack(2, 3)};
  session.loadPlaylist(tracks, true);
  advance(2.99);
  ASSERT_EQ(session.player().currentURL().value(), tracks[0]);
  hardware.device(dac).setSampleTimeReadable(false);  // readable only from the stopped unit
  advance(0.035);
  const auto other = hardware.addDevice(SimulatedDeviceConfig{});
  session.setOutputDevice(other);
  advance(0.001);
  ASSERT_TRUE(isPlaying());
  EXPECT_EQ(session.player().currentURL().value(), tracks[1]);
  EXPECT_NEAR(heard(), 0.025, 0.02);
  EXPECT_GT(heard(), 0.012) << "not at the beginning again";
  EXPECT_NEAR(position(), heard(), 0.002);
}

}  // namespace
}  // namespace tolvane
