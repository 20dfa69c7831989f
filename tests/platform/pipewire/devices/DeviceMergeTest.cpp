#include "platform/pipewire/devices/DeviceMerge.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A desktop: cards as the card path lists them, and as the server has them.
struct Desktop {
  std::vector<CardDevice> cardDevices;
  PipeWireFacts facts;

  void addCardDevice(AudioObjectID id, const std::string& uid) {
    cardDevices.push_back({id, uid, "Card " + uid, kAudioDeviceTransportTypeUSB});
  }
  PipeWireCard& addCard(std::uint32_t id, const std::string& path, const std::string& model,
                        const std::string& kernel) {
    PipeWireCard& card = facts.cards[id];
    card.api = "alsa";
    card.busPath = path;
    card.busId = model;
    card.alsaCardId = kernel;
    card.profile = 1;
    card.profileOff = 0;
    return card;
  }
  void addSink(std::uint32_t id, std::uint32_t card, int pcm, const std::string& name) {
    PipeWireSink& sink = facts.sinks[id];
    sink.nodeName = "node" + std::to_string(id);
    sink.description = name;
    sink.card = card;
    sink.alsaDevice = pcm;
  }
  [[nodiscard]] std::vector<std::string> listed(const std::set<std::string>& kept = {}) const {
    std::vector<std::string> lines;
    for (const MergedDevice& device : mergeDevices(cardDevices, facts, kept))
      lines.push_back(device.uid + " = " + device.name + (device.sink ? " @" + std::to_string(*device.sink) : "") +
                      (device.cardDevice != 0 ? " #" + std::to_string(device.cardDevice) : ""));
    return lines;
  }
};

TEST(DeviceMerge, GivesOneDeviceForACardThatIsReachedOverBothPaths) {
  Desktop desktop;
  desktop.addCardDevice(2, "usb-DAC-00:0");
  desktop.addCard(30, "pci-usb-1", "usb-DAC-00", "DAC");
  desktop.addSink(40, 30, 0, "DAC Analog Stereo");
  EXPECT_THAT(desktop.listed(), ElementsAre("usb-DAC-00:0 = DAC Analog Stereo @40 #2"));
}

TEST(DeviceMerge, IsTheListOfCardsWhereThereIsNoServer) {
  Desktop desktop;
  desktop.addCardDevice(2, "usb-DAC-00:0");
  EXPECT_THAT(desktop.listed(), ElementsAre("usb-DAC-00:0 = Card usb-DAC-00:0 #2"));
}

TEST(DeviceMerge, KnowsACardWithoutLinksByTheKernelsName) {
  Desktop desktop;
  desktop.addCardDevice(2, "Loopback:0");
  desktop.addCard(30, "", "", "Loopback");
  desktop.addSink(40, 30, 0, "Built-in Audio");
  EXPECT_THAT(desktop.listed(), ElementsAre("Loopback:0 = Built-in Audio @40 #2"));
}

TEST(DeviceMerge, DistinguishesTwoUnitsOfOneModelByTheirPlaces) {
  Desktop desktop;
  desktop.addCardDevice(2, "usb-DAC-00:0");
  desktop.addCardDevice(4, "pci-usb-2:0");
  desktop.addCard(30, "pci-usb-2", "usb-DAC-00", "DAC_1");
  desktop.addSink(40, 30, 0, "Second");
  desktop.addCard(31, "pci-usb-1", "usb-DAC-00", "DAC");
  desktop.addSink(41, 31, 0, "First");
  EXPECT_THAT(desktop.listed(), ElementsAre("usb-DAC-00:0 = First @41 #2", "pci-usb-2:0 = Second @40 #4"));
}

TEST(DeviceMerge, HidesTheOtherOutputsOfACardThatTheServerPlaysOnUnlessItIsKept) {
  Desktop desktop;
  desktop.addCardDevice(2, "pci:0");
  desktop.addCardDevice(4, "pci:3");
  PipeWireCard& card = desktop.addCard(30, "pci", "", "PCH");
  desktop.addSink(40, 30, 0, "Speakers");
  EXPECT_THAT(desktop.listed(), ElementsAre("pci:0 = Speakers @40 #2"));
  EXPECT_THAT(desktop.listed({"pci"}), ElementsAre("pci:0 = Speakers @40 #2", "pci:3 = Card pci:3 #4"));
  desktop.facts.sinks.clear();
  card.profile = 0;
  EXPECT_THAT(desktop.listed(), ElementsAre("pci:0 = Card pci:0 #2", "pci:3 = Card pci:3 #4"));
}

TEST(DeviceMerge, ListsSinksWithoutACardOfTheMachine) {
  Desktop desktop;
  PipeWireCard& headset = desktop.facts.cards[30];
  headset.api = "bluez5";
  headset.bluetoothAddress = "00:11:22";
  desktop.addSink(40, 30, 0, "Headset");
  desktop.facts.sinks[41].nodeName = "virtual";
  const auto merged = mergeDevices(desktop.cardDevices, desktop.facts, {});
  EXPECT_THAT(desktop.listed(), ElementsAre("bluetooth:00:11:22 = Headset @40", "sink:virtual = virtual @41"));
  EXPECT_EQ(merged[0].transport, kAudioDeviceTransportTypeBluetooth);
  EXPECT_EQ(merged[1].transport, kAudioDeviceTransportTypeVirtual);
}

TEST(DeviceMerge, NumbersSinksOfOneNameInTheServersOrder) {
  Desktop desktop;
  for (const std::uint32_t id : {43U, 41U, 45U, 42U}) desktop.facts.sinks[id].nodeName = id == 42 ? "other" : "null";
  EXPECT_THAT(desktop.listed(), ElementsAre("sink:null = null @41", "sink:other = other @42", "sink:null #2 = null @43",
                                            "sink:null #3 = null @45"));
}

TEST(DeviceMerge, WaitsForSinksThatHaveNotReportedTheirNameOrTheirCard) {
  Desktop desktop;
  desktop.facts.sinks[40];
  desktop.addSink(41, 30, 0, "Its card is not there yet");
  EXPECT_THAT(desktop.listed(), IsEmpty());
}

TEST(DeviceMerge, GivesACardDeviceToOneSinkOnly) {
  Desktop desktop;
  desktop.addCardDevice(2, "pci:0");
  desktop.addCard(30, "pci", "", "PCH");
  desktop.addSink(40, 30, 0, "Left half");
  desktop.addSink(41, 30, 0, "Right half");
  EXPECT_THAT(desktop.listed(), ElementsAre("pci:0 = Left half @40 #2", "sink:node41 = Right half @41"));
}

/// As DeviceMerge lists them, for a moment in which sinks are away.
std::vector<std::string> staying(const std::vector<MergedDevice>& merged, const std::vector<ListedDevice>& before,
                                 const std::set<std::string>& kept) {
  std::vector<std::string> uids;
  for (const MergedDevice& device : withoutComingsAndGoings(merged, before, kept))
    uids.push_back(device.uid + (device.sink ? " @" + std::to_string(*device.sink) : ""));
  return uids;
}

TEST(DeviceMerge, ShowsNothingOfACardThatIsAwayThatWasNotShownBefore) {
  const MergedDevice analog{"pci:0", "Speakers", kAudioDeviceTransportTypeBuiltIn, std::nullopt, 2};
  const MergedDevice digital{"pci:3", "Digital", kAudioDeviceTransportTypeBuiltIn, std::nullopt, 4};
  const MergedDevice other{"usb:0", "DAC", kAudioDeviceTransportTypeUSB, std::nullopt, 6};
  EXPECT_THAT(staying({analog, digital, other}, {{analog, true}}, {"pci"}), ElementsAre("pci:0", "usb:0"));
  EXPECT_THAT(staying({analog, digital, other}, {{analog, true}, {digital, false}}, {"pci"}),
              ElementsAre("pci:0", "pci:3", "usb:0"));
  EXPECT_THAT(staying({analog, digital, other}, {{analog, false}}, {}), ElementsAre("pci:0", "pci:3", "usb:0"));
  MergedDevice sink = digital;
  sink.sink = 41;
  EXPECT_THAT(staying({analog, sink}, {{analog, true}}, {"pci"}), ElementsAre("pci:0", "pci:3 @41"))
      << "what has a sink is there";
}

TEST(DeviceMerge, KeepsADeviceThatOnlyTheServerHasUntilItsSinkIsBack) {
  const MergedDevice headset{"bluetooth:00:11:22", "Headset", kAudioDeviceTransportTypeBluetooth, std::nullopt,
                             kAudioObjectUnknown};
  MergedDevice back = headset;
  back.sink = 41;
  EXPECT_THAT(staying({}, {{headset, true}}, {}), ElementsAre("bluetooth:00:11:22"));
  EXPECT_THAT(staying({}, {{headset, false}}, {}), IsEmpty()) << "it has gone";
  EXPECT_THAT(staying({back}, {{headset, true}}, {}), ElementsAre("bluetooth:00:11:22 @41"));
  const MergedDevice pulled{"usb:0", "DAC", kAudioDeviceTransportTypeUSB, std::nullopt, 6};
  EXPECT_THAT(staying({}, {{pulled, true}}, {"usb"}), IsEmpty()) << "the card path has noticed that the card is gone";
}

}  // namespace
}  // namespace tolvane
