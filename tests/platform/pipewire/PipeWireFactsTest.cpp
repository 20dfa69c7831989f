#include "platform/pipewire/PipeWireFacts.h"

#include <gmock/gmock.h>

#include <functional>

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
    facts.links[90] = {ownNode, sinkId, true};
    stream = {ownNode, 44100, 44100, {3, 4}, {1, 1, 1}, false};
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
      {"not linked", [](NeutralPath& path) { path.facts.links[90].isActive = false; }},
      {"not linked", [](NeutralPath& path) { path.facts.links[90].inputNode = 41; }},
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
      {"another program",
       [](NeutralPath& path) {
         path.facts.links[91] = {71, sinkId, true};
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

TEST(Alteration, isNotAnotherProgramThatPausesOrPlaysElsewhere) {
  NeutralPath path;
  path.facts.links[91] = {71, sinkId, false};
  path.facts.links[92] = {72, sinkId + 1, true};
  EXPECT_THAT(path.alteration(), IsEmpty());
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
