// A device that announces something: whether the output is as good as before, what arrives late, and what the user
// requests while there is no output.

#include "tests/engine/SupervisionFixture.h"

#include <unistd.h>

namespace tolvane {
namespace {

using namespace std::chrono_literals;

class DeviceNoticeTest : public SupervisionFixture {
 protected:
  /// A second device, which brings its rate late.
  AudioObjectID addLateDevice(RunLoop::Duration delay) {
    SimulatedDeviceConfig config;
    config.name = "Late DAC";
    config.rateSettleDelay = delay;
    const AudioObjectID late = addDevice(std::move(config));
    player->setOutputDevice(late);
    return late;
  }
  /// The output goes, and does not come back at the first attempt.
  void beginOutage() {
    hardware.failNext(UnitStage::initialize, kAudioHardwareUnspecifiedError);
    device(id).setNominalRateFromOutside(48000);
    advance(400ms);
    ASSERT_EQ(hardware.unitCount(), 0);
    ASSERT_TRUE(isPlaying());
  }
};

TEST_F(DeviceNoticeTest, WithoutAChangeMakesANewVerdictAndNoRecovery) {
  player->play(addTrack("/long.wav", 44100 * 20));
  advance(1s);
  int notices = 0;
  const auto next = [&] {
    ++notices;
    advance(2s);
    EXPECT_EQ(recoveries(), 0U) << notices;
    EXPECT_TRUE(isPlaying()) << notices;
  };
  for (const FourCharCode selector : {kAudioDevicePropertyNominalSampleRate, kAudioDevicePropertyActualSampleRate,
                                      kAudioDevicePropertyBufferFrameSize}) {
    device(id).notifyAbout(selector);
    next();
  }
  for (const FourCharCode selector : {kAudioDevicePropertyStreams, kAudioDevicePropertyStreamConfiguration}) {
    device(id).notifyAbout(selector, kAudioObjectPropertyScopeOutput);
    next();
  }
  EXPECT_EQ(notices, 5) << "more than there are attempts at a recovery";
  EXPECT_EQ(path().label, "BIT-PERFECT");
  player->seek(19.9);
  advance(1s);
  EXPECT_EQ(completions(), 1);
}

TEST_F(DeviceNoticeTest, OfARateThatArrivesLateIsNoReasonToRecover) {
  const auto fast = addTrack("/fast.wav", 960000, 96000);
  const auto late = addLateDevice(600ms);
  player->play(fast);
  EXPECT_EQ(path().label, "CONVERTED") << "the wait for the rate has its limit";
  advance(1500ms);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  EXPECT_EQ(device(late).config().nominalRate, 96000);
  advance(11s);
  EXPECT_EQ(recoveries(), 0U);
  EXPECT_EQ(completions(), 1);
}

TEST_F(DeviceNoticeTest, OfABufferThatTheDeviceChoosesAfterEachOpeningIsRecoveredOnce) {
  player->play(track);
  for (int opening = 0; opening < 5; ++opening) {
    device(id).script().bufferFrameSize = 256;
    advance(400ms);
    device(id).setBufferFrameSize(2048);
    advance(1s);
  }
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_TRUE(isPlaying());
}

TEST_F(DeviceNoticeTest, OfAFormatThatCouldNotBeReadBeforeIsNoReasonToRecover) {
  auto& failures = device(id).script().streams[0].properties.readFailures;
  failures[kAudioStreamPropertyPhysicalFormat] = {};
  player->play(track);
  EXPECT_EQ(path().label, "DIRECT PCM");
  advance(1s);
  failures.clear();
  device(id).notifyAboutStream(0, kAudioStreamPropertyPhysicalFormat);
  advance(1s);
  EXPECT_EQ(path().label, "BIT-PERFECT");
  EXPECT_EQ(recoveries(), 0U);
}

TEST_F(DeviceNoticeTest, OfARateThatCouldNotBeReadBeforeIsNoReasonToRecover) {
  device(id).script().rates = {{48000, 48000}};
  device(id).setNominalRateFromOutside(48000);
  auto& failures = device(id).script().properties.readFailures;
  failures[kAudioDevicePropertyNominalSampleRate] = failures[kAudioDevicePropertyActualSampleRate] = {};
  player->play(track);
  advance(1s);
  failures.clear();
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(1s);
  EXPECT_EQ(path().label, "CONVERTED");
  EXPECT_EQ(recoveries(), 0U);
}

TEST_F(DeviceNoticeTest, OfWhatADeviceDoesNotReportWhileItIsIdleIsNoReasonToRecover) {
  player->play(track);
  advance(1s);
  player->pause();
  auto& failures = device(id).script().properties.readFailures;
  failures[kAudioDevicePropertyNominalSampleRate] = failures[kAudioDevicePropertyBufferFrameSize] = {};
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(1s);
  EXPECT_EQ(recoveries(), 0U);
  EXPECT_TRUE(isPaused());
  failures.clear();
  player->resume();
  device(id).setBufferFrameSize(2048);
  advance(1s);
  EXPECT_EQ(recoveries(), 1U) << "what was known before the pause is not forgotten";
}

TEST_F(DeviceNoticeTest, OfABufferThatCouldNotBeReadBeforeLengthensTheDrain) {
  device(id).script().bufferFrameSize = 16384;
  device(id).script().properties.readFailures[kAudioDevicePropertyBufferFrameSize] = {};
  player->play(track);
  advance(1s);
  device(id).script().properties.readFailures.clear();
  device(id).notifyAbout(kAudioDevicePropertyBufferFrameSize);
  advance(11s);
  EXPECT_EQ(recoveries(), 0U);
  EXPECT_EQ(completions(), 1);
  expectHeardWhole();
}

TEST_F(DeviceNoticeTest, OfAnotherProgramsRateIsRecoveredEachTimeAsOftenAsThereAreAttempts) {
  player->play(track);
  for (std::uint64_t change = 1; change <= 3; ++change) {
    advance(1s);
    device(id).setNominalRateFromOutside(48000);
    advance(1s);
    EXPECT_EQ(recoveries(), change);
    EXPECT_EQ(device(id).config().nominalRate, 44100);
  }
  device(id).setNominalRateFromOutside(48000);
  advance(1s);
  EXPECT_EQ(path().detail,
            "The output device did not recover after 3 attempts. The output device changed its audio configuration.");
}

TEST_F(DeviceNoticeTest, IsRecoveredAtOnceWhereTheUnitHasStoppedMeanwhile) {
  player->play(track);
  advance(1050ms);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(100ms);
  device(id).stopByItself();
  advance(251ms);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(DeviceNoticeTest, ThatTheDeviceMayBeDeadIsNotTakenForHarmlessAfterOneThatIs) {
  player->play(track);
  advance(1s);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  device(id).notifyAbout(kAudioDevicePropertyDeviceIsAlive);
  device(id).notifyAbout(kAudioDevicePropertyNominalSampleRate);
  advance(400ms);
  EXPECT_EQ(recoveries(), 1U);
}

TEST_F(DeviceNoticeTest, ExclusiveAccessDuringAnOutageIsWhatTheNextAttemptBrings) {
  player->play(track);
  advance(1s);
  beginOutage();
  hardware.failNext(UnitStage::initialize, kAudioHardwareUnspecifiedError);
  EXPECT_EQ(player->setExclusiveAccessEnabled(true), std::nullopt);
  EXPECT_TRUE(isPlaying()) << "the wish is no attempt of its own, which would fail";
  EXPECT_EQ(player->exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::requested);
  advance(3s);
  EXPECT_EQ(recoveries(), 1U);
  EXPECT_EQ(hardware.hogCount(), 1U);
  EXPECT_EQ(player->exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::active);
  advance(10s);
  expectHeardWhole();
}

TEST_F(DeviceNoticeTest, ADeviceChosenDuringAnOutageIsPlayedToAtTheSamePlace) {
  player->play(track);
  advance(1s);
  beginOutage();
  const auto other = addDevice();
  const double position = player->position().value();
  player->setOutputDevice(other, nullptr, [](double, double reached) { return reached; });
  EXPECT_TRUE(device(other).openUnitCount() == 1);
  advance(3s);
  EXPECT_EQ(recoveries(), 0U) << "the outage is another device's";
  EXPECT_NEAR(player->position().value(), position + 3, 0.05);
}

TEST_F(DeviceNoticeTest, ADeviceChosenDuringAnOutageWhilePausedIsRecoveredOn) {
  player->play(track);
  advance(1s);
  player->pause();
  hardware.failNext(UnitStage::initialize, kAudioHardwareUnspecifiedError);
  device(id).setNominalRateFromOutside(48000);
  advance(400ms);
  ASSERT_EQ(hardware.unitCount(), 0);
  const auto other = addDevice();
  player->setOutputDevice(other);
  advance(1s);
  EXPECT_TRUE(isPaused());
  EXPECT_EQ(device(other).openUnitCount(), 1U);
}

// What must not be forgotten.

TEST_F(DeviceNoticeTest, TheRateFoundAtFirstIsPutBackThoughItHadNotArrivedWhenTheNextTrackBegan) {
  const auto fast = addTrack("/fast.wav", 960000, 96000);
  const auto faster = addTrack("/faster.wav", 1920000, 192000);
  const auto late = addLateDevice(600ms);
  player->play(fast);
  advance(2s);
  player->stop();
  player->play(faster);
  advance(2s);
  EXPECT_EQ(device(late).config().nominalRate, 192000);
  player->stop();
  advance(2s);
  EXPECT_EQ(device(late).config().nominalRate, 44100);
}

TEST_F(DeviceNoticeTest, AnOwnerThatCannotBeReadIsNotTakenForNone) {
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  advance(1s);
  ASSERT_EQ(device(id).config().hogOwner, ::getpid());
  device(id).script().properties.readFailures[kAudioDevicePropertyHogMode] = {};
  advance(3s);
  EXPECT_EQ(device(id).config().hogOwner, ::getpid()) << "a write would have given it away";
  EXPECT_EQ(player->exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::lost);
  EXPECT_NE(path().label, "BIT-PERFECT");
  device(id).script().properties.readFailures.clear();
  advance(1s);
  EXPECT_EQ(player->exclusiveAccessStatus().value().kind, ExclusiveAccessStatus::Kind::active);
  player->stop();
  EXPECT_EQ(device(id).config().hogOwner, -1);
}

TEST_F(DeviceNoticeTest, WhatMayBeOwnedIsGivenBackWhereItWasTakenUnread) {
  player->setExclusiveAccessEnabled(true);
  player->play(track);
  advance(1s);
  device(id).script().properties.readFailures[kAudioDevicePropertyHogMode] = {};
  advance(1s);
  device(id).script().properties.readFailures.clear();
  player->stop();
  EXPECT_EQ(device(id).config().hogOwner, -1);
}

}  // namespace
}  // namespace tolvane
