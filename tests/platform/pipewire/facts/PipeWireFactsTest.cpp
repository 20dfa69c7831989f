#include "platform/pipewire/facts/PipeWireFacts.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

TEST(Sink, IsSetUpWhenItHasPorts) {
  constexpr std::uint32_t sink = 40;
  PipeWireFacts facts;
  facts.ports = {{71, {70, "FL"}}, {41, {sink, "FL"}}, {42, {sink, "FR"}}};
  EXPECT_TRUE(isSetUp(facts, sink));
  facts.ports.erase(41);
  EXPECT_TRUE(isSetUp(facts, sink));
  facts.ports.erase(42);
  EXPECT_FALSE(isSetUp(facts, sink));
}

TEST(Nodes, OnASinkAreAllButOnesOwn) {
  PipeWireFacts facts;
  facts.ports = {{71, {70, "FL"}}, {81, {80, "FL"}}, {41, {40, "FL"}}};
  facts.links[1] = {70, 40, true, 71, 41};
  facts.links[2] = {80, 40, false, 81, 41};
  facts.links[3] = {90, 50, true, 91, 51};
  EXPECT_EQ(othersOn(facts, 40, 70), (std::set<std::uint32_t>{80}));
  EXPECT_EQ(nodesIn(facts), (std::set<std::uint32_t>{40, 70, 80}));
}

TEST(Card, IsAnotherOneWhereOnlyTheServersNumberIsTheSame) {
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

TEST(JsonName, IsReadFromTheServersSettings) {
  EXPECT_EQ(nameInJson(R"({"name":"alsa_output.usb"})"), "alsa_output.usb");
  EXPECT_EQ(nameInJson(R"({ "other": 1, "name" : "a \"b\" \\ c" })"), R"(a "b" \ c)");
  for (const char* text :
       {"", "name", R"("name":"x")", R"({"name":)", R"({"name":"x)", R"({"name":"x\)", R"({"name":7})", R"({"name")"})
    EXPECT_EQ(nameInJson(text), "") << text;
}

TEST(Transport, IsWhatTheCardsBusSays) {
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
