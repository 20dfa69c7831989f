#include "platform/pipewire/PipeWireFacts.h"

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <utility>

namespace tolvane {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint32_t sinkId = 40;
constexpr std::uint32_t ownNode = 70;

/// A stream at 44.1 kHz that nothing alters, and its sink.
struct NeutralPath {
  PipeWireFacts facts;
  PipeWireStreamFacts stream;

  NeutralPath() {
    PipeWireSink& sink = facts.sinks[sinkId];
    sink.state = PipeWireSink::State::running;
    sink.format = PipeWireFormat{44100, 2, {3, 4}};
    sink.volumes = {1, 1};
    facts.ports = {{71, {ownNode, "FL"}}, {72, {ownNode, "FR"}}, {41, {sinkId, "FL"}}, {42, {sinkId, "FR"}}};
    facts.links[90] = {ownNode, sinkId, true, 71, 41};
    facts.links[91] = {ownNode, sinkId, true, 72, 42};
    stream = {ownNode, 44100, 44100, {3, 4}, {1, 1, 1}, false, sinkId, std::nullopt};
  }
  PipeWireSink& sink() { return facts.sinks[sinkId]; }
  [[nodiscard]] std::string alteration() const { return alterationOf(facts, sinkId, stream); }
};

TEST(Alteration, isNoneOnANeutralPath) { EXPECT_THAT(NeutralPath().alteration(), IsEmpty()); }

TEST(Alteration, isSeenInEveryStage) {
  const struct {
    const char* words;
    std::function<void(NeutralPath&)> change;
  } rows[] = {
      {"sink has gone", [](NeutralPath& path) { path.facts.sinks.clear(); }},
      {"sink has failed: busy",
       [](NeutralPath& path) {
         path.sink().state = PipeWireSink::State::error;
         path.sink().error = "busy";
       }},
      {"format is not known", [](NeutralPath& path) { path.sink().format.reset(); }},
      {"sink runs at 48000 Hz", [](NeutralPath& path) { path.sink().format->rate = 48000; }},
      {"graph runs at 48000 Hz", [](NeutralPath& path) { path.stream.graphRate = 48000; }},
      {"graph runs at 0 Hz", [](NeutralPath& path) { path.stream.graphRate = 0; }},
      {"channels are mapped",
       [](NeutralPath& path) {
         path.sink().format->positions = {4, 3};
       }},
      {"channels are mapped", [](NeutralPath& path) { path.sink().format->positions.clear(); }},
      {"channels are mapped", [](NeutralPath& path) { path.stream.positions = {2}; }},
      {"not linked",
       [](NeutralPath& path) {
         for (auto& [id, link] : path.facts.links) link.isActive = false;
       }},
      {"not linked",
       [](NeutralPath& path) {
         for (auto& [id, link] : path.facts.links) link.inputNode = sinkId + 1;
       }},
      {"linked crosswise",
       [](NeutralPath& path) { std::swap(path.facts.links[90].inputPort, path.facts.links[91].inputPort); }},
      {"linked crosswise", [](NeutralPath& path) { path.facts.links[91].inputPort = 41; }},
      {"linked crosswise", [](NeutralPath& path) { path.facts.links.erase(91); }},
      {"linked crosswise", [](NeutralPath& path) { path.facts.links[91].isActive = false; }},
      {"linked crosswise", [](NeutralPath& path) { path.facts.links[92] = path.facts.links[91]; }},
      {"linked crosswise",
       [](NeutralPath& path) {
         path.facts.links[92] = {ownNode, sinkId, true, 71, 42};
       }},
      {"linked crosswise", [](NeutralPath& path) { path.facts.ports.erase(42); }},
      {"another clock", [](NeutralPath& path) { path.stream.clock = 55; }},
      {"another clock", [](NeutralPath& path) { path.stream.clock = 0; }},
      {"sink is muted", [](NeutralPath& path) { path.sink().isMuted = true; }},
      {"stream is muted", [](NeutralPath& path) { path.stream.isMuted = true; }},
      {"volume is not known", [](NeutralPath& path) { path.sink().volumes.clear(); }},
      {"sink's volume is 0.512",
       [](NeutralPath& path) {
         path.sink().volumes = {1, 0.512F};
       }},
      {"sink's volume is 0.500", [](NeutralPath& path) { path.sink().volume = 0.5F; }},
      {"sink's volume",
       [](NeutralPath& path) {
         path.sink().volumes = {1.5F, 1.5F};
       }},
      {"stream's volume",
       [](NeutralPath& path) {
         path.stream.volumes = {1, 0.99F, 1};
       }},
      {"stream's volume is not known", [](NeutralPath& path) { path.stream.volumes.clear(); }},
      {"server mutes", [](NeutralPath& path) { path.sink().isSoftMuted = true; }},
      {"server gives the sink 0.631",
       [](NeutralPath& path) {
         path.sink().softVolumes = {1, 0.631F};
       }},
      {"server gives the sink",
       [](NeutralPath& path) {
         path.sink().softVolumes = {1.25F, 1.25F};
       }},
      {"server dithers", [](NeutralPath& path) { path.sink().isDithered = true; }},
      {"card's mixer is at -23.8 dB", [](NeutralPath& path) { path.stream.mixerDecibels = -23.8; }},
      {"card's mixer is at 6.0 dB", [](NeutralPath& path) { path.stream.mixerDecibels = 6; }},
      {"card's mixer is at -inf dB",
       [](NeutralPath& path) { path.stream.mixerDecibels = -std::numeric_limits<double>::infinity(); }},
      {"another program",
       [](NeutralPath& path) {
         path.facts.links[92] = {ownNode + 1, sinkId, true, 81, 41};
       }},
  };
  for (const auto& row : rows) {
    NeutralPath path;
    row.change(path);
    EXPECT_THAT(path.alteration(), HasSubstr(row.words));
  }
}

TEST(Alteration, isNoneWhereTheServersOwnVolumesAreFull) {
  NeutralPath path;
  path.sink().softVolumes = {1, 1};
  EXPECT_THAT(path.alteration(), IsEmpty());
}

TEST(Alteration, isNoneWhereTheCardsMixerIsFull) {
  NeutralPath path;
  for (const double decibels : {0.0, -0.04, 0.04}) {
    path.stream.mixerDecibels = decibels;
    EXPECT_THAT(path.alteration(), IsEmpty()) << decibels;
  }
}

TEST(Alteration, isNotAnotherProgramThatPausesOrPlaysElsewhere) {
  NeutralPath path;
  path.facts.links[92] = {ownNode + 1, sinkId, false, 81, 41};
  path.facts.links[93] = {ownNode + 2, sinkId + 1, true, 82, 43};
  EXPECT_THAT(path.alteration(), IsEmpty());
}

TEST(Sink, isSetUpWhenItHasPorts) {
  NeutralPath path;
  EXPECT_TRUE(isSetUp(path.facts, sinkId));
  path.facts.ports.erase(41);
  EXPECT_TRUE(isSetUp(path.facts, sinkId));
  path.facts.ports.erase(42);
  EXPECT_FALSE(isSetUp(path.facts, sinkId));
}

TEST(Card, isAnotherOneWhereOnlyTheServersNumberIsTheSame) {
  PipeWireCard card;
  card.serial = "51";
  card.busPath = "pci-usb-1";
  card.busId = "usb-DAC-00";
  PipeWireCard other = card;
  other.profile = 3;
  EXPECT_TRUE(card.isSameAs(other));
  for (std::string PipeWireCard::*text : {&PipeWireCard::serial, &PipeWireCard::busPath, &PipeWireCard::busId}) {
    other = card;
    other.*text = "other";
    EXPECT_FALSE(card.isSameAs(other));
  }
}

TEST(JsonName, isReadFromTheServersSettings) {
  EXPECT_EQ(nameInJson(R"({"name":"alsa_output.usb"})"), "alsa_output.usb");
  EXPECT_EQ(nameInJson(R"({ "other": 1, "name" : "a \"b\" \\ c" })"), R"(a "b" \ c)");
  for (const char* text :
       {"", "name", R"("name":"x")", R"({"name":)", R"({"name":"x)", R"({"name":"x\)", R"({"name":7})", R"({"name")"})
    EXPECT_EQ(nameInJson(text), "") << text;
}

TEST(Transport, isWhatTheCardsBusSays) {
  const struct {
    const char* api;
    const char* bus;
    const char* formFactor;
    const char* profile;
    std::uint32_t transport;
  } rows[] = {
      {"bluez5", "bluetooth", "", "", kAudioDeviceTransportTypeBluetooth},
      {"alsa", "usb", "", "analog-stereo", kAudioDeviceTransportTypeUSB},
      {"alsa", "pci", "", "hdmi-stereo", kAudioDeviceTransportTypeHDMI},
      {"alsa", "pci", "internal", "analog-stereo", kAudioDeviceTransportTypeBuiltIn},
      {"alsa", "pci", "", "analog-stereo", kAudioDeviceTransportTypePCI},
      {"alsa", "firewire", "", "", kAudioDeviceTransportTypeFireWire},
      {"alsa", "", "", "analog-stereo", kAudioDeviceTransportTypeVirtual},
  };
  for (const auto& row : rows) {
    PipeWireCard card;
    card.api = row.api;
    card.bus = row.bus;
    card.formFactor = row.formFactor;
    PipeWireSink sink;
    sink.profileName = row.profile;
    sink.alsaCard = 1;
    EXPECT_EQ(transportOf(sink, &card), row.transport) << row.api << ' ' << row.bus;
  }
  EXPECT_EQ(transportOf(PipeWireSink{}, nullptr), kAudioDeviceTransportTypeVirtual);
}

}  // namespace
}  // namespace tolvane
