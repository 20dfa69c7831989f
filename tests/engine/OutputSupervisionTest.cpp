// Changes of the device that others make, and what the player makes of their notifications.

#include "tests/engine/SupervisionFixture.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

class OutputSupervisionTest : public SupervisionFixture {};

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

TEST_F(OutputSupervisionTest, ABurstOfNotificationsMakesOneRecovery) {
  player->play(track);
  advance(1s);
  device(id).setNominalRateFromOutside(96000);
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
  device(id).setNominalRateFromOutside(96000);
  advance(300ms);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(51ms);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(OutputSupervisionTest, HealthIsNotCheckedWhileARecoveryIsPending) {
  player->play(track);
  advance(1400ms);
  device(id).setNominalRateFromOutside(96000);
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
  device(id).setNominalRateFromOutside(96000);
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

TEST_F(OutputSupervisionTest, ANotificationThatArrivesAfterThePlayerIsGoneHasNoEffect) {
  hardware.setDeliversLateNotifications(true);
  player->play(track);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  player.reset();
  advance(1s);
  EXPECT_EQ(hardware.listenerCount(), 0U);
}

}  // namespace
}  // namespace tolvane
