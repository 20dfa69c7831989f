// Taking a card from the sound server and giving it back, step by step, and with a fault at each of them.

#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/platform/pipewire/scripted/Listening.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Property = AudioUnitProperty;

class TakingACard : public testing::Test, public Listening {};

TEST_F(TakingACard, SwitchesItsProfileOffAndBack) {
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(owner(), getpid());
  EXPECT_FALSE(hasSink());
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off()));
  EXPECT_EQ(desktop.listed(), std::vector{device}) << "one device, over either path";
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(owner(), -1);
  desktop.runLoop.advance(1s);
  EXPECT_TRUE(hasSink());
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off(), stereo()));
  EXPECT_EQ(desktop.listed(), std::vector{device});
}

TEST_F(TakingACard, MovesAUnitThatPlaysAndItPlaysOn) {
  const auto unit = playingUnit();
  EXPECT_EQ(desktop.server().streams().size(), 1U);
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(owner(), getpid());
  EXPECT_TRUE(goesOn());
  EXPECT_THAT(desktop.server().streams(), IsEmpty());
  EXPECT_EQ(desktop.dac().config().nominalRate, 48000) << "the rate is the device's, over either path";
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_EQ(toggle(), noErr);
  desktop.runLoop.advance(1s);
  EXPECT_TRUE(hasSink());
}

TEST_F(TakingACard, KeepsTheProfileUntilTheLastUserOfTheCardHasLeft) {
  const auto unit = playingUnit();
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(toggle(), noErr) << "given back while the unit plays over the card";
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off()));
  EXPECT_TRUE(goesOn());
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off(), stereo()));
  desktop.runLoop.advance(1s);
  EXPECT_TRUE(hasSink());
}

TEST_F(TakingACard, FailsWhereTheProfileDoesNotChangeAndTheMusicGoesOn) {
  const auto unit = playingUnit();
  desktop.server().failNext(ServerStage::switchOff, kAudioHardwareUnspecifiedError, 1000);
  EXPECT_EQ(toggle(), kAudioDevicePermissionsError);
  EXPECT_EQ(owner(), -1);
  EXPECT_TRUE(hasSink());
  EXPECT_TRUE(goesOn());
  EXPECT_NEAR(pauseSeconds(), 28, 0.2) << "30 seconds, of which two have passed";
}

TEST_F(TakingACard, FailsWhereTheServerKeepsTheCardOpenAndGivesTheProfileBack) {
  const auto unit = playingUnit();
  desktop.server().keepCardsOpen(true);
  EXPECT_EQ(toggle(), kAudioDevicePermissionsError);
  desktop.server().keepCardsOpen(false);
  desktop.runLoop.advance(1s);
  EXPECT_TRUE(hasSink());
  EXPECT_EQ(desktop.server().calls().back(), stereo());
  EXPECT_TRUE(goesOn()) << "through the sink that has come back";
  EXPECT_EQ(desktop.server().streams().size(), 1U);
}

TEST_F(TakingACard, IsNotTriedAgainBeforeThePauseIsOver) {
  const auto unit = playingUnit();
  desktop.server().failNext(ServerStage::switchOff, kAudioHardwareUnspecifiedError, 1000);
  EXPECT_EQ(toggle(), kAudioDevicePermissionsError);
  desktop.server().failNext(ServerStage::switchOff, noErr, 0);
  desktop.server().forgetCalls();
  EXPECT_EQ(toggle(), kAudioDevicePermissionsError);
  EXPECT_THAT(desktop.server().calls(), IsEmpty());
  desktop.runLoop.advance(31s);
  EXPECT_EQ(pauseSeconds(), 0);
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(owner(), getpid());
}

TEST_F(TakingACard, ThatAnotherProgramHasIsRefusedAndNothingIsTouched) {
  desktop.dac().setHogOwner(std::numeric_limits<std::int32_t>::max());
  desktop.runLoop.runUntilIdle();
  EXPECT_EQ(toggle(), kAudioDevicePermissionsError);
  EXPECT_THAT(desktop.server().calls(), IsEmpty());
  EXPECT_TRUE(hasSink());
}

TEST_F(TakingACard, FromAServerThatIsNotThereNeedsNoProfile) {
  desktop.server().die();
  desktop.runLoop.advance(5s);
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(owner(), getpid());
  EXPECT_THAT(desktop.server().calls(), IsEmpty());
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(owner(), -1);
}

TEST_F(TakingACard, WaitsWithGivingItBackForADriverThatDoesNotReturn) {
  const auto unit = exclusiveUnit();
  EXPECT_EQ(toggle(), noErr) << "the unit keeps it";
  auto& failures = desktop.dac().script().properties.readFailures;
  failures[kAudioDevicePropertyHogMode] = {kAudioHardwareNotReadyError};
  EXPECT_EQ(unit->uninitialize(), noErr);
  desktop.runLoop.advance(10s);
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off())) << "the card may still be open";
  failures.clear();
  desktop.dac().notifyAbout(kAudioDevicePropertyHogMode);
  desktop.runLoop.advance(1s);
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off(), stereo()));
  EXPECT_TRUE(hasSink());
}

TEST_F(TakingACard, ThatIsPulledWhileAUnitHasItIsForgottenWithTheUnit) {
  const auto unit = exclusiveUnit();
  desktop.server().unplug(desktop.card());
  desktop.cards.removeDevice(desktop.cardDevice());
  desktop.runLoop.runUntilIdle();
  EXPECT_THAT(desktop.listed(), IsEmpty());
  EXPECT_NE(unit->uninitialize(), noErr);
  desktop.cards.replug(desktop.cardDevice());
  desktop.server().addCard(desktop.cardDevice());
  desktop.runLoop.runUntilIdle();
  EXPECT_EQ(desktop.listed(), std::vector{device});
  EXPECT_EQ(unit->initialize(), noErr);
  EXPECT_EQ(desktop.server().streams().size(), 1U) << "the server has it";
}

TEST_F(TakingACard, ThatIsPulledAndBackStillBelongsToItsUnit) {
  const auto unit = exclusiveUnit();
  for (int time = 0; time < 2; ++time) {
    desktop.cards.removeDevice(desktop.cardDevice());
    desktop.runLoop.runUntilIdle();
    desktop.cards.replug(desktop.cardDevice());
    desktop.runLoop.runUntilIdle();
    EXPECT_EQ(desktop.listed(), std::vector{device});
  }
  EXPECT_NE(unit->uninitialize(), noErr);
  desktop.runLoop.advance(1s);
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off(), stereo()));
}

TEST_F(TakingACard, ThatHasGoneFromTheServerNeedsNoProfile) {
  desktop.server().change([this](PipeWireFacts& facts) { facts.cards.erase(desktop.card()); });
  EXPECT_EQ(toggle(), kAudioDevicePermissionsError) << "its sink is still there, with the card open";
  EXPECT_EQ(owner(), -1);
  EXPECT_THAT(desktop.server().calls(), IsEmpty());
}

TEST_F(TakingACard, SaysWhatTheCardRefuses) {
  constexpr auto rate = globalAddress(kAudioDevicePropertyNominalSampleRate);
  EXPECT_EQ(desktop.hardware().setPropertyData(device, rate, 48000.0), noErr);
  const auto unit = playingUnit();
  auto& failures = desktop.dac().script().properties.writeFailures;
  failures[kAudioDevicePropertyNominalSampleRate] = {kAudioDeviceUnsupportedFormatError};
  EXPECT_EQ(toggle(), noErr);
  EXPECT_THAT(desktop.log.messages(), Contains(HasSubstr("does not take 48000 Hz")));
  failures[kAudioDevicePropertyHogMode] = {kAudioHardwareUnspecifiedError};
  EXPECT_EQ(toggle(), noErr);
  EXPECT_THAT(desktop.log.messages(), Contains(HasSubstr("is not given back")));
  failures.clear();
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(owner(), -1);
}

TEST_F(TakingACard, OutlivesAServerThatDiesMeanwhile) {
  for (const auto delay : {1ms, 10ms, 25ms, 31ms, 40ms, 200ms, 240ms, 600ms}) {
    SCOPED_TRACE(delay.count());
    Listening another;
    const auto unit = another.playingUnit();
    another.desktop.runLoop.scheduleHardwareAfter(delay, [&] { another.desktop.server().die(); });
    const OSStatus status = another.toggle();
    another.desktop.runLoop.advance(1s);
    EXPECT_EQ(another.owner(), status == noErr ? getpid() : -1);
    if (status == noErr) {
      EXPECT_EQ(another.toggle(), noErr);
    }
    another.desktop.server().comeBack();
    another.desktop.runLoop.advance(5s);
    EXPECT_EQ(another.owner(), -1);
    EXPECT_EQ(another.desktop.listed().size(), 1U);
    EXPECT_EQ(unit->uninitialize(), noErr);
  }
}

/// In whatever stage it fails: either the card is taken, or the music goes on as it was, or the unit says that it does
/// not play; and once it is given back, the server has it as before.
TEST_F(TakingACard, WithAFaultAtEachStepLosesNothing) {
  int taken = 0, refused = 0, brokenOff = 0;
  const auto tryWith = [&](const std::string& what, const std::function<void(Listening&)>& break_) {
    SCOPED_TRACE(what);
    Listening another;
    {
      const auto unit = another.playingUnit();
      break_(another);
      const OSStatus status = another.toggle();
      ++(status == noErr ? taken : refused);
      EXPECT_EQ(another.owner(), status == noErr ? getpid() : -1);
      another.desktop.runLoop.advance(1s);
      another.desktop.cards.unitFaults().heal(UnitStage::isRunning);
      const bool isAlive = readProperty<std::uint32_t>(*unit, Property::isRunning).value_or(0) != 0;
      EXPECT_EQ(another.goesOn(), isAlive) << "a unit that says it plays does";
      if (!isAlive) ++brokenOff;
      another.desktop.server().keepCardsOpen(false);
      for (const auto stage :
           {ServerStage::openStream, ServerStage::startStream, ServerStage::switchOff, ServerStage::switchOn})
        another.desktop.server().failNext(stage, noErr, 0);
      another.desktop.dac().script().properties.readFailures.clear();
      if (another.owner() == getpid()) {
        EXPECT_EQ(another.toggle(), noErr);
      }
      unit->uninitialize();
    }
    another.desktop.runLoop.advance(5s);
    EXPECT_EQ(another.owner(), -1);
    EXPECT_THAT(another.desktop.server().streams(), IsEmpty());
    EXPECT_EQ(another.desktop.cards.unitCount(), 0);
    EXPECT_EQ(another.desktop.cards.openDeviceCount(), 0U);
    EXPECT_EQ(another.desktop.listed(), std::vector{another.device});
  };
  const auto server = [](ServerStage stage, int times) {
    return [stage, times](Listening& test) {
      test.desktop.server().failNext(stage, kAudioHardwareUnspecifiedError, times);
    };
  };
  for (const int times : {1, 2, 100}) {
    for (const auto stage : {ServerStage::openStream, ServerStage::startStream, ServerStage::switchOff})
      tryWith("stage " + std::to_string(static_cast<int>(stage)) + ", " + std::to_string(times), server(stage, times));
    for (std::size_t stage = 0; stage < kUnitStageCount; ++stage)
      tryWith("unit's stage " + std::to_string(stage) + ", " + std::to_string(times), [&](Listening& test) {
        test.desktop.cards.failNext(static_cast<UnitStage>(stage), kAudioHardwareUnspecifiedError, times);
      });
  }
  tryWith("the card stays open", [](Listening& test) { test.desktop.server().keepCardsOpen(true); });
  tryWith("the owner cannot be read", [](Listening& test) {
    test.desktop.dac().script().properties.readFailures[kAudioDevicePropertyHogMode] = {kAudioHardwareUnspecifiedError,
                                                                                        2};
  });
  EXPECT_GT(taken, 0);
  EXPECT_GT(refused, 0);
  EXPECT_GT(brokenOff, 0);
}

}  // namespace
}  // namespace tolvane::test
