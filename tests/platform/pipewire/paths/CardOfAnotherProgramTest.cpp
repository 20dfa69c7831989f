// A card that another program takes, from the server or from this process, and leaves again.

#include <gmock/gmock.h>
#include <unistd.h>

#include <limits>

#include "tests/platform/pipewire/scripted/Listening.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using testing::ElementsAre;

constexpr std::int32_t otherProgram = std::numeric_limits<std::int32_t>::max();  // no process has it

class CardOfAnotherProgram : public testing::Test, public Listening {
 protected:
  CardOfAnotherProgram() { desktop.dac().script().hogOwnerName = "another player"; }

  std::string ownerName() {
    return readProperty<std::string>(desktop.hardware(), device, globalAddress(kAudioDevicePropertyHogModeOwnerName))
        .value_or("?");
  }
  /// The card path has released the card, and its unit has ended.
  void takeFromUs() {
    desktop.dac().setHogOwner(otherProgram);
    desktop.dac().stopByItself(kAudioHardwareNotRunningError);
    desktop.runLoop.runUntilIdle();
  }
  void leave() {
    desktop.dac().setHogOwner(-1);
    desktop.runLoop.runUntilIdle();
  }

  Notifications owners{desktop.hardware(), device, kAudioDevicePropertyHogMode};
};

TEST_F(CardOfAnotherProgram, ThatTheServerGaveAwayIsOwnedByTheProgram) {
  const auto unit = playingUnit();
  desktop.server().yieldCard(desktop.card(), otherProgram);
  desktop.runLoop.runUntilIdle();
  EXPECT_FALSE(isRunning(*unit));
  EXPECT_EQ(takeError(*unit), kAudioHardwareBadDeviceError);
  EXPECT_EQ(owner(), -1) << "the sink is expected back: its session manager may be setting the card up";
  desktop.runLoop.advance(4s);
  EXPECT_EQ(owner(), otherProgram);
  EXPECT_EQ(ownerName(), "another player");
  EXPECT_EQ(owners.take(), 1);
  EXPECT_EQ(desktop.listed(), std::vector{device});
  EXPECT_EQ(unit->start(), kAudioDevicePermissionsError);
  EXPECT_EQ(toggle(), kAudioDevicePermissionsError);
}

TEST_F(CardOfAnotherProgram, IsPlayedToThroughTheSinkWhenTheProgramHasLeft) {
  const auto unit = playingUnit();
  desktop.server().yieldCard(desktop.card(), otherProgram);
  desktop.runLoop.advance(10s);
  (void)owners.take();
  desktop.server().returnCard(desktop.card());
  desktop.runLoop.runUntilIdle();
  EXPECT_EQ(owner(), -1);
  EXPECT_EQ(ownerName(), "");
  EXPECT_EQ(owners.take(), 1);
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_TRUE(goesOn());
  EXPECT_EQ(desktop.server().streams().size(), 1U);
}

TEST_F(CardOfAnotherProgram, ThatThisProcessHadIsNotWaitedFor) {
  const auto unit = exclusiveUnit();
  takeFromUs();
  EXPECT_FALSE(isRunning(*unit));
  EXPECT_EQ(owner(), otherProgram);
  EXPECT_EQ(owners.take(), 2) << "taken by this process, and by the other one";
  EXPECT_EQ(unit->uninitialize(), noErr);
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off(), stereo())) << "the server has it when the program leaves";
  const auto before = desktop.runLoop.now();
  EXPECT_EQ(unit->initialize(), kAudioDevicePermissionsError);
  EXPECT_EQ(desktop.runLoop.now(), before);
}

TEST_F(CardOfAnotherProgram, ThatThisProcessHadCanBeTakenAgainAndGivenBack) {
  {
    const auto unit = exclusiveUnit();
    desktop.server().failNext(ServerStage::switchOn, kAudioHardwareUnspecifiedError);  // the program has the card
    takeFromUs();
  }
  leave();
  EXPECT_EQ(toggle(), noErr);
  EXPECT_EQ(owner(), getpid());
  EXPECT_EQ(toggle(), noErr);
  const auto unit = makeUnit();
  desktop.runLoop.scheduleHardwareAfter(1s, [this] { desktop.server().addSink(desktop.card()); });
  EXPECT_EQ(unit->initialize(), noErr);
  EXPECT_EQ(desktop.server().streams().size(), 1U) << "it had a sink before it was taken first: that was waited for";
}

TEST_F(CardOfAnotherProgram, ThatThisProcessHadWithoutAUnitGoesBackToTheServer) {
  EXPECT_EQ(toggle(), noErr);
  takeFromUs();
  desktop.runLoop.advance(1s);
  EXPECT_EQ(owner(), otherProgram);
  EXPECT_THAT(desktop.server().calls(), ElementsAre(off(), stereo()));
}

TEST_F(CardOfAnotherProgram, IsRefusedToAUnitAlsoWhereItsSinkIsStillThere) {
  desktop.dac().setHogOwner(otherProgram);
  const auto unit = makeUnit();
  EXPECT_EQ(unit->initialize(), kAudioDevicePermissionsError);
  EXPECT_EQ(desktop.server().streams().size(), 0U);
}

TEST_F(CardOfAnotherProgram, EndsThePauseBeforeTheNextAttemptWhenTheProgramLeaves) {
  const auto unit = playingUnit();
  desktop.server().failNext(ServerStage::switchOff, kAudioHardwareUnspecifiedError, 1000);
  EXPECT_EQ(toggle(), kAudioDevicePermissionsError);
  desktop.dac().setHogOwner(otherProgram);
  desktop.runLoop.runUntilIdle();
  EXPECT_GT(pauseSeconds(), 20);
  leave();
  EXPECT_EQ(pauseSeconds(), 0);
}

TEST_F(CardOfAnotherProgram, IsNotTakenByAServerThatDiesAtThatMoment) {
  const auto unit = playingUnit();
  desktop.server().yieldCard(desktop.card(), otherProgram);
  desktop.server().die();
  desktop.runLoop.advance(10s);
  EXPECT_EQ(owner(), otherProgram);
  EXPECT_EQ(unit->start(), kAudioDevicePermissionsError);
  leave();
  EXPECT_EQ(unit->start(), noErr) << "over the card: there is no server";
  EXPECT_TRUE(goesOn());
  EXPECT_EQ(desktop.cards.openDeviceCount(), 1U);
}

}  // namespace
}  // namespace tolvane::test
