// What is reported while a unit plays through a sink and other programs change its path.

#include <gmock/gmock.h>

#include "tests/platform/pipewire/scripted/Listening.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class AlteredPath : public testing::Test, public Listening {
 protected:
  /// Notifications of an alteration since the last call, once all has been reported.
  int takeNotifications() {
    desktop.runLoop.runUntilIdle();
    return changes.take();
  }
  std::uint32_t isProcessing() {
    return readProperty<std::uint32_t>(desktop.hardware(), device,
                                       globalAddress(kAudioDevicePropertyProcessingIsActive))
        .value_or(2);
  }
  bool hasLine(const std::string& part) {
    return std::ranges::any_of(desktop.log.messages(), [&](const auto& line) { return line.contains(part); });
  }
  ScriptedStream& stream() { return desktop.server().stream(); }
  /// A node that plays on the sink.
  void addProgram(std::uint32_t node) {
    desktop.server().change([&](PipeWireFacts& facts) {
      const std::uint32_t sink = *desktop.server().sinkOfCard(desktop.card());
      facts.ports[node] = {node, "FL"};
      facts.links[node] = {.outputNode = node, .inputNode = sink, .isActive = true, .outputPort = node};
    });
  }
  void removeProgram(std::uint32_t node) {
    desktop.server().change([&](PipeWireFacts& facts) {
      facts.ports.erase(node);
      facts.links.erase(node);
    });
  }
  /// Another program has a substream of the card open, beside the server.
  void contest(bool isContested) {
    auto& failures = desktop.dac().script().properties.readFailures;
    if (isContested)
      failures[kAudioDevicePropertyActualSampleRate] = {};
    else
      failures.erase(kAudioDevicePropertyActualSampleRate);
  }

  /// And plays on through the sink.
  void failToTakeCard() {
    desktop.server().failNext(ServerStage::switchOff, kAudioHardwareUnspecifiedError, 1000);
    EXPECT_EQ(toggle(), kAudioDevicePermissionsError);
    desktop.server().failNext(ServerStage::switchOff, noErr, 0);
    EXPECT_TRUE(goesOn());
  }

  Notifications changes{desktop.hardware(), device, kAudioDevicePropertyProcessingIsActive};
};

TEST_F(AlteredPath, IsCleanWhileNothingIsDoneToIt) {
  const auto unit = playingUnit();
  EXPECT_EQ(takeNotifications(), 1) << "once, when the music begins";
  EXPECT_THAT(alterations(), IsEmpty());
  EXPECT_EQ(isProcessing(), 0U);
  desktop.runLoop.advance(60s);
  EXPECT_EQ(takeNotifications(), 0);
}

TEST_F(AlteredPath, NamesAMutedStreamAsLongAsItIsMuted) {
  const auto unit = playingUnit();
  (void)takeNotifications();
  stream().setVolume(1, true);
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), ElementsAre(HasSubstr("The player's stream is muted")));
  EXPECT_EQ(isProcessing(), 1U);
  EXPECT_TRUE(hasLine("samples are altered. The player's stream is muted"));
  stream().setVolume(1, true);
  EXPECT_EQ(takeNotifications(), 0) << "no news";
  stream().setVolume(1, false);
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), IsEmpty());
  EXPECT_TRUE(hasLine("nothing alters the samples now"));
}

TEST_F(AlteredPath, NamesTheVolumeOfTheStreamUntilTheNextStart) {
  const auto unit = playingUnit();
  (void)takeNotifications();
  stream().setVolume(0.5, false);
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), ElementsAre(HasSubstr("The player's stream is at")));
  EXPECT_EQ(unit->stop(), noErr);
  EXPECT_THAT(alterations(), IsEmpty()) << "nothing plays";
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), IsEmpty()) << "a start sets it to 100 %";
}

TEST_F(AlteredPath, NamesAMutedDevice) {
  const auto unit = playingUnit();
  (void)takeNotifications();
  desktop.server().change([this](PipeWireFacts& facts) { sinkIn(facts).props.isMuted = true; });
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), ElementsAre(HasSubstr("This device is muted in the sound server.")));
  desktop.server().change([this](PipeWireFacts& facts) { sinkIn(facts).props.isMuted = false; });
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), IsEmpty());
}

TEST_F(AlteredPath, IsNotReportedWhileNothingPlays) {
  const auto unit = makeUnit();
  EXPECT_EQ(unit->initialize(), noErr);
  desktop.server().change([this](PipeWireFacts& facts) { sinkIn(facts).props.isMuted = true; });
  EXPECT_EQ(takeNotifications(), 0);
  EXPECT_THAT(alterations(), IsEmpty());
  EXPECT_EQ(unit->start(), noErr);
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), ElementsAre(HasSubstr("muted")));
}

TEST_F(AlteredPath, NamesAnotherProgramOnTheSink) {
  const auto unit = playingUnit();
  (void)takeNotifications();
  addProgram(900);
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), ElementsAre(HasSubstr("Another program plays on this device")));
  removeProgram(900);
  EXPECT_EQ(takeNotifications(), 1);
  EXPECT_THAT(alterations(), IsEmpty());
}

TEST_F(AlteredPath, IsJudgedAnewWhenAnotherProgramOpensTheCardTooAndWhenItLeaves) {
  const auto unit = playingUnit();
  (void)takeNotifications();
  contest(true);
  desktop.runLoop.advance(2s);
  EXPECT_EQ(takeNotifications(), 1);
  desktop.runLoop.advance(10s);
  EXPECT_EQ(takeNotifications(), 0);
  contest(false);
  desktop.runLoop.advance(2s);
  EXPECT_EQ(takeNotifications(), 1);
}

TEST_F(AlteredPath, IsThatOfTheCardWhileTheUnitPlaysOverIt) {
  const auto unit = playingUnit();
  EXPECT_EQ(toggle(), noErr);
  EXPECT_THAT(alterations(), IsEmpty()) << "over the card";
  desktop.dac().setAlterations({SampleAlteration::unreadable()});
  EXPECT_EQ(takeNotifications(), 1) << "what the card reports is passed on";
  EXPECT_EQ(alterations().size(), 1U);
  desktop.dac().script().properties.readFailures[kAudioDevicePropertySampleAlterations] = {};
  EXPECT_EQ(alterations(), std::vector{SampleAlteration::unreadable().detail.english()}) << "what cannot be read is no silence";
}

// A card that could not be taken: the obstacle may be gone.

TEST_F(AlteredPath, WithoutTheOtherProgramIsWorthTheNextAttemptToTakeTheCard) {
  const auto unit = playingUnit();
  addProgram(900);
  failToTakeCard();
  EXPECT_GT(pauseSeconds(), 20);
  removeProgram(900);
  desktop.runLoop.runUntilIdle();
  EXPECT_EQ(pauseSeconds(), 0);
}

TEST_F(AlteredPath, WithoutAnotherUserOfTheCardIsWorthTheNextAttemptToTakeIt) {
  const auto unit = playingUnit();
  failToTakeCard();
  contest(true);
  desktop.runLoop.advance(3s);
  EXPECT_GT(pauseSeconds(), 20);
  contest(false);
  desktop.runLoop.advance(1s);
  EXPECT_EQ(pauseSeconds(), 0);
}

}  // namespace
}  // namespace tolvane::test
