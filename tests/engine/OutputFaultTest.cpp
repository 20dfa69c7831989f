// Units that fail, stop or stall: when that is noticed.

#include "tests/engine/SupervisionFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

class OutputFaultTest : public SupervisionFixture {};

TEST_F(OutputFaultTest, ARenderErrorRecoversAtTheNextCheck) {
  player->play(track);
  advance(700ms);
  device(id).raiseRenderError(-10868);
  advance(299ms);
  EXPECT_EQ(recoveries(), 0U);
  advance(2ms);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(log.contains("AUHAL reported render error -10868"));
  advance(20s);
  expectHeardWhole();
}

TEST_F(OutputFaultTest, AUnitThatStoppedIsToleratedOnceAndRecoveredTheSecondTime) {
  player->play(track);
  advance(700ms);
  device(id).stopByItself();
  advance(500ms);
  EXPECT_EQ(recoveries(), 0U);
  advance(500ms);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(OutputFaultTest, AStoppedUnitMustBeSeenTwiceInARow) {
  player->play(track);
  advance(700ms);
  device(id).stopByItself();
  advance(500ms);
  hardware.failNext(UnitStage::isRunning, kAudioHardwareUnspecifiedError);
  advance(500ms);  // progress is not known
  advance(499ms);
  EXPECT_EQ(recoveries(), 0U) << "seen once, and once more";
  advance(2s);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputFaultTest, TheReasonOfTheLastFaultIsReported) {
  const auto giveUp = [this](auto fault) {
    player->play(track);
    advance(1s);
    for (int i = 0; i < 4; ++i) {
      fault();
      advance(2s);
    }
    return path().detail;
  };
  EXPECT_EQ(giveUp([this] { device(id).stopByItself(); }),
            "The output device did not recover after 3 attempts. AUHAL stopped while playback was active.");
  EXPECT_EQ(giveUp([this] { device(id).changeStreams(device(id).config().streams); }),
            "The output device did not recover after 3 attempts. The output device changed its audio configuration.");
}

TEST_F(OutputFaultTest, TheThirdStalledCheckRecovers) {
  player->play(track);
  advance(1400ms);
  device(id).stall();
  advance(1599ms);  // checks at 1.5 (still moved), 2.0, 2.5 s
  EXPECT_EQ(recoveries(), 0U);
  advance(2ms);
  EXPECT_EQ(recoveries(), 1U);
  device(id).goOn();
  advance(20s);
  EXPECT_EQ(recoveries(), 1U) << "the new unit's clock starts anew, which is no stall";
  expectHeardWhole();
}

TEST_F(OutputFaultTest, AStallAfterAPauseIsNoticedToo) {
  player->play(track);
  advance(1s);
  player->pause();
  advance(1min);
  EXPECT_EQ(recoveries(), 0U);
  player->resume();
  advance(100ms);
  device(id).stall();
  advance(2s);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputFaultTest, CountsRenderCyclesWhereTheClockCannotBeRead) {
  device(id).setSampleTimeReadable(false);
  player->play(track);
  advance(1400ms);
  EXPECT_EQ(recoveries(), 0U);
  device(id).stall();
  advance(1701ms);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputFaultTest, AStallThatPersistsEndsAfterThreeAttempts) {
  player->play(track);
  advance(1s);
  device(id).stall();
  advance(20s);
  EXPECT_EQ(recoveries(), 3U);
  EXPECT_EQ(path(), AudioPathStatus::failed(
                        "The output device did not recover after 3 attempts. AUHAL stopped requesting audio frames."));
  EXPECT_TRUE(log.contains("Output recovery exhausted all attempts"));
  expectNothingHeld();
}

}  // namespace
}  // namespace tolvane
