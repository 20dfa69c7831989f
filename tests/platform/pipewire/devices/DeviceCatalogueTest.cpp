// Which devices are listed, under which names, while cards and sinks come and go.

#include <gmock/gmock.h>

#include "tests/platform/pipewire/scripted/Listening.h"

namespace tolvane::test {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t headset = 700;
constexpr const char* headsetName = "bluez_output.00_11";
const std::string headsetUid = std::string("sink:") + headsetName;
constexpr const char* secondUid = "usb-Maker_DAC-01:0";

/// A sink without a card, a headset's.
void addHeadset(ScriptedDesktop& desktop) {
  desktop.server().change([](PipeWireFacts& facts) {
    PipeWireSink& sink = facts.sinks[headset];
    sink.nodeName = headsetName;
    sink.description = "Headset";
    sink.serial = "7000";
    sink.state = PipeWireSink::State::idle;
    facts.ports[headset] = {headset, "FL"};
  });
  desktop.runLoop.runUntilIdle();
}

void removeHeadset(ScriptedDesktop& desktop) {
  desktop.server().change([](PipeWireFacts& facts) { facts.sinks.erase(headset); });
  desktop.runLoop.runUntilIdle();
}

class Catalogue : public testing::Test {
 protected:
  Catalogue() { desktop.runLoop.runUntilIdle(); }

  AudioObjectID plugIn(const char* uid) { return desktop.cards.addDevice({.name = "DAC", .uid = uid}); }
  std::vector<std::string> names() {
    desktop.runLoop.runUntilIdle();
    std::vector<std::string> names;
    for (const AudioObjectID device : desktop.listed())
      names.push_back(
          readProperty<std::string>(desktop.hardware(), device, globalAddress(kAudioObjectPropertyName)).value_or("?"));
    return names;
  }
  AudioObjectID defaultDevice() {
    return readProperty<std::uint32_t>(desktop.hardware(), kAudioObjectSystemObject,
                                       globalAddress(kAudioHardwarePropertyDefaultOutputDevice))
        .value_or(0);
  }
  ScriptedDesktop desktop{{.name = "DAC", .nominalRate = 48000}};
};

TEST_F(Catalogue, WaitsForTheSinkOfACardThatTheKernelHasAnnounced) {
  Notifications changes(desktop.hardware(), kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
  const AudioObjectID second = plugIn(secondUid);
  desktop.runLoop.advance(1s);
  EXPECT_EQ(desktop.listed().size(), 1U);
  desktop.server().addCard(second);
  EXPECT_THAT(names(), ElementsAre("DAC Analog Stereo", "DAC Analog Stereo (2)"));
  EXPECT_EQ(changes.take(), 1);
}

TEST_F(Catalogue, ListsACardThatTheServerDoesNotUseAfterTwoSeconds) {
  plugIn(secondUid);
  desktop.runLoop.advance(1900ms);
  EXPECT_EQ(desktop.listed().size(), 1U);
  desktop.runLoop.advance(200ms);
  EXPECT_THAT(names(), ElementsAre("DAC Analog Stereo", "DAC"));
}

TEST_F(Catalogue, DoesNotWaitWhereThereIsNoServer) {
  desktop.server().die();
  desktop.runLoop.advance(5s);
  plugIn(secondUid);
  EXPECT_THAT(names(), ElementsAre("DAC Analog Stereo", "DAC")) << "names stay with their devices";
}

TEST_F(Catalogue, KeepsDevicesOfOneNameApartForGood) {
  const AudioObjectID second = plugIn(secondUid);
  const std::uint32_t card = desktop.server().addCard(second);
  const auto both = names();
  const AudioObjectID device = desktop.device(secondUid);
  desktop.server().unplug(card);
  desktop.cards.removeDevice(second);
  EXPECT_EQ(names().size(), 1U);
  desktop.runLoop.advance(10s);
  desktop.cards.replug(second);
  desktop.server().addCard(second);
  EXPECT_EQ(names(), both);
  EXPECT_EQ(desktop.device(secondUid), device) << "and its number";
}

TEST_F(Catalogue, WaitsForTheSinkOfACableThatIsBackAtOnce) {
  desktop.server().unplug(desktop.card());
  desktop.cards.removeDevice(desktop.cardDevice());
  EXPECT_THAT(names(), IsEmpty());
  desktop.runLoop.advance(1s);
  desktop.cards.replug(desktop.cardDevice());
  EXPECT_EQ(names().size(), 1U);
  const auto rate =
      readProperty<double>(desktop.hardware(), desktop.device(), globalAddress(kAudioDevicePropertyNominalSampleRate));
  EXPECT_FALSE(rate) << "the card has one; the sink that is expected has none yet";
}

TEST_F(Catalogue, ForgetsAHeadsetThatGoesAndItsUnitIsLost) {
  Listening listening;
  ScriptedDesktop& other = listening.desktop;
  addHeadset(other);
  const AudioObjectID device = other.device(headsetUid);
  const auto unit = listening.makeUnit();
  EXPECT_EQ(unit->setProperty(AudioUnitProperty::currentDevice, AudioUnitScope::global, 0, device), noErr);
  EXPECT_EQ(unit->initialize(), noErr);
  EXPECT_EQ(unit->start(), noErr);
  removeHeadset(other);
  EXPECT_EQ(other.listed(), std::vector{listening.device}) << "no card stands behind it: nothing is waited for";
  EXPECT_EQ(Listening::takeError(*unit), kAudioHardwareBadDeviceError);
  EXPECT_FALSE(Listening::isRunning(*unit));
  EXPECT_EQ(unit->start(), kAudioHardwareBadDeviceError);
}

TEST_F(Catalogue, KeepsAHeadsetWhileItsServerIsStartedAnew) {
  addHeadset(desktop);
  EXPECT_EQ(desktop.listed().size(), 2U);
  desktop.server().die();
  desktop.runLoop.advance(1s);
  EXPECT_EQ(desktop.listed().size(), 2U);
  desktop.runLoop.advance(4s);
  EXPECT_EQ(desktop.listed().size(), 1U) << "it is not coming back";
}

TEST_F(Catalogue, HasTheDefaultOfTheServerAndElseTheFirstSink) {
  Notifications changes(desktop.hardware(), kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
  EXPECT_EQ(defaultDevice(), desktop.device());
  addHeadset(desktop);
  EXPECT_EQ(defaultDevice(), desktop.device());
  desktop.server().change([](PipeWireFacts& facts) { facts.defaultSinkName = headsetName; });
  desktop.runLoop.runUntilIdle();
  EXPECT_EQ(defaultDevice(), desktop.device(headsetUid));
  EXPECT_EQ(changes.take(), 1);
  removeHeadset(desktop);
  EXPECT_EQ(defaultDevice(), desktop.device());
  EXPECT_EQ(changes.take(), 1);
}

TEST_F(Catalogue, KeepsTheDefaultWhileItsSinkIsAway) {
  addHeadset(desktop);
  const AudioObjectID dac = desktop.device();
  ScriptedServer& server = desktop.server();
  server.change([&](PipeWireFacts& facts) {
    facts.defaultSinkName = facts.sinks.at(*server.sinkOfCard(desktop.card())).nodeName;
  });
  desktop.runLoop.runUntilIdle();
  Notifications changes(desktop.hardware(), kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
  server.removeSink(*server.sinkOfCard(desktop.card()));
  server.change([](PipeWireFacts& facts) { facts.defaultSinkName = headsetName; });
  desktop.runLoop.advance(3s);
  EXPECT_EQ(defaultDevice(), dac);
  EXPECT_EQ(changes.take(), 0);
  desktop.runLoop.advance(1s);
  EXPECT_NE(defaultDevice(), dac) << "the sink does not come back";
  EXPECT_EQ(changes.take(), 1);
}

TEST_F(Catalogue, ListsADeviceOnceWhenItsSinkIsAnotherOne) {
  Notifications changes(desktop.hardware(), kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
  ScriptedServer& server = desktop.server();
  server.removeSink(*server.sinkOfCard(desktop.card()));
  server.addSink(desktop.card());
  EXPECT_THAT(names(), ElementsAre("DAC Analog Stereo"));
  EXPECT_EQ(changes.take(), 0);
}

TEST_F(Catalogue, NamesEachMalformedReportOnceAndAgainWhenItIsAnotherObject) {
  const auto lines = [this] {
    return std::ranges::count(desktop.log.messages(),
                              "The sound server's report of the formats of a card is malformed");
  };
  for (const int time : {1, 2}) {
    desktop.server().change([](PipeWireFacts& facts) { facts.malformed[500] = {"formats"}; });
    desktop.runLoop.runUntilIdle();
    desktop.server().change([](PipeWireFacts&) {});
    desktop.runLoop.runUntilIdle();
    EXPECT_EQ(lines(), time);
    desktop.server().change([](PipeWireFacts& facts) { facts.malformed.clear(); });
    desktop.runLoop.runUntilIdle();
  }
}

}  // namespace
}  // namespace tolvane::test
