// A track whose output comes up paused: what can be known of the path only while the unit runs is read when it does.

#include <utility>

#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

class PausedStartTest : public PlayerFixture {
 protected:
  /// Prepared, and paused before it could start.
  void startPaused(const SimulatedDeviceConfig& config) {
    addDevice(config);
    const auto reading = std::make_shared<BackgroundWork>();
    player = std::make_unique<BitPerfectAudioPlayer>(hardware, files, runLoop, log,
                                                     [reading](BackgroundWork work) { *reading = std::move(work); });
    player->play(addTrack("/a.wav", 44100));
    player->pause();
    (*reading)();
    runLoop.runUntilIdle();
    ASSERT_TRUE(isPaused());
  }
};

TEST_F(PausedStartTest, JudgesAnActualRateThatShowsOnlyWhileTheUnitRuns) {
  SimulatedDeviceConfig config;
  config.actualRate = SimulatedActualRate::readableWhileRunning;
  config.clockErrorPPM = 150;
  startPaused(config);
  player->resume();
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(path().kind, PathKind::converted) << path().detail;
}

TEST_F(PausedStartTest, KeepsAVerdictThatStillHoldsOnceTheUnitRuns) {
  SimulatedDeviceConfig config;
  config.actualRate = SimulatedActualRate::readableWhileRunning;
  startPaused(config);
  player->resume();
  EXPECT_EQ(path().kind, PathKind::bitPerfect) << path().detail;
}

}  // namespace
}  // namespace tolvane
