// Recoveries that fail, how many there are, and what the user does between two of them.

#include "tests/engine/SupervisionFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

class RecoveryAttemptsTest : public SupervisionFixture {};

TEST_F(RecoveryAttemptsTest, APauseBetweenTwoAttemptsLeavesTheRecoveredOutputPaused) {
  player->play(track);
  advance(1s);
  hardware.failNext(UnitStage::initialize, kAudioHardwareUnspecifiedError);
  device(id).setNominalRateFromOutside(48000);
  advance(400ms);
  ASSERT_EQ(hardware.unitCount(), 0);
  player->pause();
  EXPECT_TRUE(isPaused());
  player->seek(9.0);
  advance(1s);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(isPaused());
  player->resume();
  EXPECT_TRUE(isPlaying());
  advance(900ms);
  EXPECT_EQ(completions(), 0) << "it goes on at the ninth of ten seconds";
  advance(250ms);
  EXPECT_EQ(completions(), 1);
}

TEST_F(RecoveryAttemptsTest, AResumeBetweenTwoAttemptsHasTheRecoveredOutputPlay) {
  player->play(track);
  advance(1s);
  player->pause();
  hardware.failNext(UnitStage::initialize, kAudioHardwareUnspecifiedError);
  device(id).setNominalRateFromOutside(48000);
  advance(400ms);
  ASSERT_EQ(hardware.unitCount(), 0);
  player->resume();
  EXPECT_TRUE(isPlaying());
  advance(1s);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(isPlaying());
  advance(12s);
  expectHeardWhole();
}

TEST_F(RecoveryAttemptsTest, ThirtyHealthySecondsGiveBackAllAttempts) {
  const auto longTrack = addTrack("/long.wav", 44100 * 120);
  player->play(longTrack);
  for (int fault = 0; fault < 3; ++fault) {
    advance(600ms);
    device(id).raiseRenderError(-1);
    advance(600ms);
  }
  EXPECT_EQ(recoveries(), 3U);
  advance(31s);
  device(id).raiseRenderError(-1);
  advance(1s);
  EXPECT_EQ(recoveries(), 4U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(RecoveryAttemptsTest, FaultsThatAreFarApartNeverUseUpTheAttempts) {
  const auto longTrack = addTrack("/long.wav", 44100 * 400);
  player->play(longTrack);
  for (int fault = 0; fault < 8; ++fault) {
    advance(40s);
    device(id).raiseRenderError(-1);
  }
  advance(1s);
  EXPECT_EQ(recoveries(), 8U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(RecoveryAttemptsTest, HealthBeforeAFaultEarnsNoAttemptsForAfterIt) {
  const auto longTrack = addTrack("/long.wav", 44100 * 120);
  player->play(longTrack);
  advance(100s);
  for (int fault = 0; fault < 4; ++fault) {
    device(id).raiseRenderError(-7);
    advance(2s);
  }
  EXPECT_EQ(recoveries(), 3U);
  EXPECT_FALSE(isPlaying());
}

TEST_F(RecoveryAttemptsTest, AFourthFaultWithinThirtySecondsEndsPlayback) {
  player->play(track);
  for (int fault = 0; fault < 4; ++fault) {
    device(id).raiseRenderError(-7);
    advance(1s);
  }
  EXPECT_EQ(recoveries(), 3U);
  EXPECT_EQ(path().detail,
            "The output device did not recover after 3 attempts. AUHAL reported a render error (Core Audio -7).");
  expectNothingHeld();
}

TEST_F(RecoveryAttemptsTest, ANewTrackHasAllAttemptsAgain) {
  player->play(track);
  for (int fault = 0; fault < 3; ++fault) {
    device(id).raiseRenderError(-7);
    advance(1s);
  }
  player->play(track);
  device(id).raiseRenderError(-7);
  advance(1s);
  EXPECT_EQ(recoveries(), 4U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(RecoveryAttemptsTest, NeitherRateNorHogModeIsHeldBetweenAttempts) {
  const auto fast = addTrack("/fast.wav", 960000, 96000);
  player->setExclusiveAccessEnabled(true);
  player->play(fast);
  advance(1s);
  hardware.failNext(UnitStage::initialize, -66);
  device(id).changeStreams(device(id).config().streams);
  advance(400ms);
  EXPECT_EQ(hardware.hogCount(), 0U);
  EXPECT_EQ(device(id).config().nominalRate, 44100);
  EXPECT_TRUE(isPlaying());
  advance(500ms);
  EXPECT_EQ(hardware.hogCount(), 1U);
  EXPECT_EQ(device(id).config().nominalRate, 96000);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(RecoveryAttemptsTest, ADeviceThatIsSlowIsGivenBackAtTheRateItWasFoundAt) {
  SimulatedDeviceConfig config;
  config.rateSettleDelay = 900ms;
  const auto slow = addDevice(config);
  player->setOutputDevice(slow);
  player->play(addTrack("/fast.wav", 960000, 96000));
  advance(3s);
  ASSERT_TRUE(isPlaying());
  ASSERT_EQ(device(slow).config().nominalRate, 96000);
  hardware.failNext(UnitStage::initialize, -66, 2);
  device(slow).raiseRenderError(-1);
  advance(3s);
  ASSERT_EQ(recoveries(), 1U) << "the third attempt, a second after the second";
  player->stop();
  advance(2s);
  EXPECT_EQ(device(slow).config().nominalRate, 44100);
}

TEST_F(RecoveryAttemptsTest, ARateThatCouldNotBeGivenBackMeanwhileIsGivenBackAtTheEnd) {
  SimulatedDeviceConfig config;
  config.foreignHogShutsOut = false;
  const auto dac = addDevice(config);
  player->setOutputDevice(dac);
  player->play(addTrack("/fast.wav", 960000, 96000));
  advance(1s);
  device(dac).setHogOwner(otherProcess);
  hardware.failNext(UnitStage::initialize, -66);
  device(dac).raiseRenderError(-1);
  advance(600ms);
  ASSERT_EQ(hardware.unitCount(), 0) << "between two attempts";
  ASSERT_EQ(device(dac).config().nominalRate, 96000) << "its owner did not let the rate be changed";
  device(dac).setHogOwner(-1);
  advance(1s);
  ASSERT_EQ(recoveries(), 1U);
  player->stop();
  EXPECT_EQ(device(dac).config().nominalRate, 44100);
}

TEST_F(RecoveryAttemptsTest, ARateThatAnotherProgramChoseBetweenTwoAttemptsIsTheOneToComeBackTo) {
  player->play(addTrack("/fast.wav", 960000, 96000));
  advance(1s);
  hardware.failNext(UnitStage::initialize, -66);
  device(id).raiseRenderError(-1);
  advance(600ms);
  ASSERT_EQ(device(id).config().nominalRate, 44100) << "between two attempts";
  device(id).setNominalRateFromOutside(48000);
  advance(1s);
  ASSERT_EQ(recoveries(), 1U);
  player->stop();
  EXPECT_EQ(device(id).config().nominalRate, 48000);
}

TEST_F(RecoveryAttemptsTest, FailedAttemptsBackOffByHalfASecondEach) {
  const AudioObjectID preferred = id;
  player->setOutputDevice(preferred);
  player->play(track);
  advance(1s);
  hardware.removeDevice(preferred);
  advance(349ms);
  EXPECT_EQ(hardware.unitCount(), 1);
  advance(2ms);
  EXPECT_TRUE(
      log.contains("Output recovery attempt 1 failed: Binding the output device failed (Core Audio 560227702)."));
  EXPECT_EQ(hardware.unitCount(), 0) << "nothing half-built waits for the next attempt";
  advance(500ms);
  EXPECT_TRUE(
      log.contains("Output recovery attempt 2 failed: Binding the output device failed (Core Audio 560227702)."));
  EXPECT_TRUE(isPlaying());
  advance(998ms);
  EXPECT_TRUE(isPlaying());
  advance(3ms);
  EXPECT_EQ(path(), AudioPathStatus::failed("The output device did not recover after 3 attempts. Binding the output "
                                            "device failed (Core Audio 560227702)."));
  expectNothingHeld();
}

TEST_F(RecoveryAttemptsTest, ADeviceThatComesBackInTimeGoesOnWhereItWas) {
  player->setOutputDevice(id);
  player->play(track);
  advance(1s);
  hardware.removeDevice(id);
  advance(600ms);
  hardware.replug(id);
  advance(20s);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_EQ(completions(), 1);
  expectHeardWhole();
}

TEST_F(RecoveryAttemptsTest, StoppingCancelsAPendingRecovery) {
  player->play(track);
  advance(1s);
  device(id).setNominalRateFromOutside(48000);
  advance(100ms);
  player->stop();
  advance(5s);
  EXPECT_EQ(recoveries(), 0U);
  expectNothingHeld();
}

TEST_F(RecoveryAttemptsTest, AnAttemptThatCannotStopTheUnitGoesOn) {
  player->play(track);
  advance(1s);
  hardware.failNext(UnitStage::stop, -66);
  device(id).setNominalRateFromOutside(48000);
  advance(400ms);
  EXPECT_TRUE(log.contains("AUHAL stop failed during recovery: -66"));
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(isPlaying());
}

}  // namespace
}  // namespace tolvane
