#include "tests/engine/PlayerFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

class OutputSupervisionTest : public PlayerFixture {
 protected:
  OutputSupervisionTest() {
    SimulatedDeviceConfig config;
    config.captures = true;
    id = addDevice(config);
  }

  [[nodiscard]] std::uint64_t recoveries() const { return player->statistics().recoveries; }
  void expectHeardWhole() {
    auto heard = device(id).heard();
    heard.resize(tracks["/song.wav"].size());
    EXPECT_TRUE(heard == tracks["/song.wav"]) << "frames were lost or repeated";
  }

  AudioObjectID id = 0;
  FileURL track = addTrack("/song.wav", 441000);
};

// Property changes.

TEST_F(OutputSupervisionTest, ARateChangedFromOutsideIsPutRightAtTheSameFrame) {
  player->play(track);
  advance(1s);
  device(id).setNominalRateFromOutside(48000);
  advance(349ms);
  EXPECT_EQ(recoveries(), 0U);
  advance(2ms);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_EQ(device(id).config().nominalRate, 44100);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  EXPECT_TRUE(isPlaying());
  EXPECT_TRUE(log.contains("Output property changed: " + std::to_string(kAudioDevicePropertyNominalSampleRate)));
  advance(20s);
  expectHeardWhole();
  EXPECT_EQ(completions(), 1);
}

TEST_F(OutputSupervisionTest, ARateChangedFromOutsideEndsTheVerdictAtOnceAndIsRecoveredFromLater) {
  player->play(track);
  advance(1s);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  device(id).setNominalRateFromOutside(48000);
  advance(0ms);
  EXPECT_EQ(path(), (AudioPathStatus{AudioPathStatus::Kind::converted, "CONVERTED",
                                     "The track is 44.1 kHz, but the device reports 48 kHz. Core Audio sample-rate "
                                     "conversion may be active."}));
  EXPECT_EQ(recoveries(), 0U);
  advance(351ms);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_EQ(path().label, "BIT-PERFECT");
}

TEST_F(OutputSupervisionTest, AFormatChangedFromOutsideEndsTheVerdictAtOnce) {
  player->play(track);
  advance(1s);
  device(id).script().streams[0].properties.readFailures[kAudioStreamPropertyPhysicalFormat] = {};
  EXPECT_EQ(path().label, "BIT-PERFECT");
  device(id).notifyAboutStream(0, kAudioStreamPropertyPhysicalFormat);
  advance(0ms);
  EXPECT_EQ(path().label, "DIRECT PCM");
  EXPECT_EQ(recoveries(), 0U);
}

TEST_F(OutputSupervisionTest, ANotificationWithoutAChangeLeavesTheVerdict) {
  player->play(track);
  advance(1s);
  int verdicts = 0;
  const auto subscription = player->audioPathStatus().subscribe([&verdicts](const auto&) { ++verdicts; });
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(349ms);
  EXPECT_EQ(verdicts, 0);
  advance(2ms);
  EXPECT_GT(verdicts, 0) << "the recovery checks the path again";
}

TEST_F(OutputSupervisionTest, ABurstOfNotificationsMakesOneRecovery) {
  player->play(track);
  advance(1s);
  for (int i = 0; i < 6; ++i) {
    device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
    device(id).notifyAbout(kAudioDevicePropertyStreams, kAudioObjectPropertyScopeOutput);
    device(id).notifyAbout(kAudioDevicePropertyStreamConfiguration, kAudioObjectPropertyScopeOutput);
    device(id).notifyAboutStream(0, kAudioStreamPropertyPhysicalFormat);
    device(id).notifyAboutStream(0, kAudioStreamPropertyVirtualFormat);
    advance(50ms);
  }
  advance(1s);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputSupervisionTest, ALaterNotificationDoesNotPostponeThePendingRecovery) {
  player->play(track);
  advance(1s);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(300ms);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(51ms);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputSupervisionTest, HealthIsNotCheckedWhileARecoveryIsPending) {
  player->play(track);
  advance(1400ms);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(50ms);
  device(id).raiseRenderError(-1);
  advance(1s);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_FALSE(log.contains("AUHAL reported render error -1")) << "it went with the unit that was replaced";
}

TEST_F(OutputSupervisionTest, ASeekWhilePausedSurvivesARecovery) {
  player->play(track);
  advance(1s);
  player->pause();
  player->seek(9.0);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(400ms);
  EXPECT_EQ(recoveries(), 1U);
  player->resume();
  advance(900ms);
  EXPECT_EQ(completions(), 0);
  advance(250ms);
  EXPECT_EQ(completions(), 1);
}

TEST_F(OutputSupervisionTest, AChangeWhilePausedIsRepairedAndStaysPaused) {
  player->play(track);
  advance(1s);
  player->pause();
  device(id).setNominalRateFromOutside(96000);
  advance(400ms);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(isPaused());
  EXPECT_EQ(device(id).config().nominalRate, 44100);
  player->resume();
  advance(20s);
  expectHeardWhole();
}

TEST_F(OutputSupervisionTest, ANotificationFromRemovedListenersIsIgnored) {
  hardware.setDeliversLateNotifications(true);
  player->play(track);
  advance(1s);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  player->play(track);
  advance(1s);
  EXPECT_EQ(recoveries(), 0U);
}

TEST_F(OutputSupervisionTest, ANotificationThatArrivesAfterThePlayerIsGoneFindsNobody) {
  hardware.setDeliversLateNotifications(true);
  player->play(track);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  player.reset();
  advance(1s);
  EXPECT_EQ(hardware.listenerCount(), 0U);
}

// Health.

TEST_F(OutputSupervisionTest, ARenderErrorRecoversAtTheNextCheck) {
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

TEST_F(OutputSupervisionTest, AUnitThatStoppedIsToleratedOnceAndRecoveredTheSecondTime) {
  player->play(track);
  advance(700ms);
  device(id).stopByItself();
  advance(500ms);
  EXPECT_EQ(recoveries(), 0U);
  advance(500ms);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(OutputSupervisionTest, AStoppedUnitMustBeSeenTwiceInARow) {
  player->play(track);
  advance(700ms);
  device(id).stopByItself();
  advance(500ms);
  hardware.failNext(UnitStage::isRunning, kAudioHardwareUnspecifiedError);
  advance(500ms);  // nobody can tell
  advance(499ms);
  EXPECT_EQ(recoveries(), 0U) << "seen once, and once more";
  advance(2s);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputSupervisionTest, TheReasonOfTheLastFaultIsTold) {
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
  EXPECT_EQ(giveUp([this] { device(id).notifyAbout(kAudioDevicePropertyStreams, kAudioObjectPropertyScopeOutput); }),
            "The output device did not recover after 3 attempts. The output device changed its audio configuration.");
}

// What the listener does while there is no unit.

TEST_F(OutputSupervisionTest, APauseBetweenTwoAttemptsLeavesTheRecoveredOutputPaused) {
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

TEST_F(OutputSupervisionTest, AResumeBetweenTwoAttemptsHasTheRecoveredOutputPlay) {
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

TEST_F(OutputSupervisionTest, TheThirdStalledCheckRecovers) {
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

TEST_F(OutputSupervisionTest, AStallAfterAPauseIsNoticedToo) {
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

TEST_F(OutputSupervisionTest, CountsRenderCyclesWhereTheClockCannotBeRead) {
  device(id).setSampleTimeReadable(false);
  player->play(track);
  advance(1400ms);
  EXPECT_EQ(recoveries(), 0U);
  device(id).stall();
  advance(1701ms);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputSupervisionTest, AStallThatPersistsEndsAfterThreeAttempts) {
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

TEST_F(OutputSupervisionTest, ThirtyHealthySecondsGiveBackAllAttempts) {
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

TEST_F(OutputSupervisionTest, FaultsThatAreFarApartNeverUseUpTheAttempts) {
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

TEST_F(OutputSupervisionTest, HealthBeforeAFaultEarnsNoAttemptsForAfterIt) {
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

TEST_F(OutputSupervisionTest, AFourthFaultWithinThirtySecondsEndsPlayback) {
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

TEST_F(OutputSupervisionTest, ANewTrackHasAllAttemptsAgain) {
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

// Recovery that fails.

TEST_F(OutputSupervisionTest, NeitherRateNorHogModeIsHeldBetweenAttempts) {
  const auto fast = addTrack("/fast.wav", 960000, 96000);
  player->setExclusiveAccessEnabled(true);
  player->play(fast);
  advance(1s);
  hardware.failNext(UnitStage::initialize, -66);
  device(id).notifyAbout(kAudioDevicePropertyStreams, kAudioObjectPropertyScopeOutput);
  advance(400ms);
  EXPECT_EQ(hardware.hogCount(), 0U);
  EXPECT_EQ(device(id).config().nominalRate, 44100);
  EXPECT_TRUE(isPlaying());
  advance(500ms);
  EXPECT_EQ(hardware.hogCount(), 1U);
  EXPECT_EQ(device(id).config().nominalRate, 96000);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputSupervisionTest, FailedAttemptsBackOffByHalfASecondEach) {
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

TEST_F(OutputSupervisionTest, ADeviceThatComesBackInTimeGoesOnWhereItWas) {
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

TEST_F(OutputSupervisionTest, StoppingCancelsAPendingRecovery) {
  player->play(track);
  advance(1s);
  device(id).setNominalRateFromOutside(48000);
  advance(100ms);
  player->stop();
  advance(5s);
  EXPECT_EQ(recoveries(), 0U);
  expectNothingHeld();
}

TEST_F(OutputSupervisionTest, AnAttemptThatCannotStopTheUnitGoesOn) {
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
