#include "platform/alsa/cards/AlsaDeviceList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>

#include "platform/AudioHardware.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

AlsaCardFacts onboard() {
  return {
      .index = 0,
      .id = "PCH",
      .driver = "HDA-Intel",
      .name = "HDA Intel PCH",
      .longName = "HDA Intel PCH at 0xf7f10000 irq 31",
      .idLink = "",
      .pathLink = "pci-0000:00:1f.3",
      .bus = "pci",
      .busPlace = "0000:00:1f.3",
      .busClass = "0x040300",
      .pcms = {{0, "ALC892 Analog", "ALC892 Analog"}, {1, "ALC892 Digital", "ALC892 Digital"}, {3, "HDMI 0", "LG TV"}}};
}

AlsaCardFacts dac(int index, const std::string& id, const std::string& link) {
  return {.index = index,
          .id = id,
          .driver = "USB-Audio",
          .name = "Test DAC",
          .longName = "Lab Test DAC at usb-0000:00:14.0-2, high speed",
          .idLink = link,
          .pathLink = "",
          .bus = "usb",
          .busPlace = "1-2:1.0",
          .busClass = "",
          .pcms = {{0, "USB Audio", "USB Audio"}}};
}

AlsaCardFacts loopback() {
  return {.index = 5,
          .id = "Loopback",
          .driver = "Loopback",
          .name = "Loopback",
          .longName = "Loopback 1",
          .idLink = "",
          .pathLink = "",
          .bus = "platform",
          .busPlace = "snd_aloop.0",
          .busClass = "",
          .pcms = {{0, "Loopback PCM", "Loopback PCM"}, {1, "Loopback PCM", "Loopback PCM"}}};
}

/// A device of dac(), as an earlier list had it.
AlsaDeviceInfo known(int index, const std::string& id, const std::string& uid, const std::string& name) {
  return {uid, name, kAudioDeviceTransportTypeUSB, index, 0, id};
}

std::vector<std::string> namesOf(const std::vector<AlsaDeviceInfo>& devices) {
  std::vector<std::string> names;
  for (const auto& device : devices) names.push_back(device.name);
  return names;
}

std::vector<std::string> uidsOf(const std::vector<AlsaDeviceInfo>& devices) {
  std::vector<std::string> uids;
  for (const auto& device : devices) uids.push_back(device.uid);
  return uids;
}

TEST(AlsaDeviceList, NamesACardAndItsPartWhereItHasSeveral) {
  EXPECT_THAT(
      namesOf(listDevices({onboard(), dac(1, "DAC", "usb-dac-00")}, {})),
      ElementsAre("HDA Intel PCH, ALC892 Analog", "HDA Intel PCH, ALC892 Digital", "HDA Intel PCH, LG TV", "Test DAC"));
}

TEST(AlsaDeviceList, FallsBackToTheLongNameWithoutItsPlaceAndThenToTheId) {
  AlsaCardFacts card = dac(1, "DAC", "usb-dac-00");
  card.name.clear();
  EXPECT_THAT(namesOf(listDevices({card}, {})), ElementsAre("Lab Test DAC"));
  card.longName.clear();
  EXPECT_THAT(namesOf(listDevices({card}, {})), ElementsAre("DAC"));
}

TEST(AlsaDeviceList, StripsOnlyThePlaceFromALongName) {
  EXPECT_EQ(withoutPlace("HDA Intel PCH at 0xf7f10000 irq 31"), "HDA Intel PCH");
  EXPECT_EQ(withoutPlace("QEMU QEMU USB Audio at usb-0000:00:05.0-1, full speed"), "QEMU QEMU USB Audio");
  EXPECT_EQ(withoutPlace("RME AIO S/N 0x1234 at 0xdf000000, irq 16"), "RME AIO S/N 0x1234");
  EXPECT_EQ(withoutPlace("Loopback 1"), "Loopback 1");
  EXPECT_EQ(withoutPlace(""), "");
}

TEST(AlsaDeviceList, MakesEqualNamesDistinctAndKeepsThoseInUse) {
  const auto two = listDevices({dac(1, "DAC", "usb-a"), dac(2, "DAC_1", "usb-b")}, {});
  EXPECT_THAT(namesOf(two), ElementsAre("Test DAC", "Test DAC (2)"));
  const auto second = listDevices({dac(2, "DAC_1", "usb-b")}, std::array{known(2, "DAC_1", "usb-b:0", "Test DAC (2)")});
  EXPECT_THAT(namesOf(second), ElementsAre("Test DAC (2)"));
  const auto third = listDevices({dac(1, "DAC", "usb-c"), dac(2, "DAC_1", "usb-b")},
                                 std::array{known(2, "DAC_1", "usb-b:0", "Test DAC")});
  EXPECT_THAT(namesOf(third), ElementsAre("Test DAC (2)", "Test DAC"));
  EXPECT_THAT(namesOf(listDevices({loopback()}, {})), ElementsAre("Loopback PCM", "Loopback PCM (2)"));
}

TEST(AlsaDeviceList, IdentifiesADeviceByItsLinkElseByItsCardsId) {
  EXPECT_THAT(
      uidsOf(listDevices({onboard(), loopback()}, {})),
      ElementsAre("pci-0000:00:1f.3:0", "pci-0000:00:1f.3:1", "pci-0000:00:1f.3:3", "Loopback:0", "Loopback:1"));
}

TEST(AlsaDeviceList, DistinguishesTwoUnitsOfOneModelThatShareALink) {
  EXPECT_THAT(uidsOf(listDevices({dac(1, "DAC", "usb-a"), dac(2, "DAC_1", "usb-a")}, {})),
              ElementsAre("usb-a:0", "DAC_1:0"));
}

/// Two units of one model without serial numbers: udev's link by-id stands at the one that came last.
struct Twins {
  AlsaCardFacts first = dac(1, "DAC", "usb-a");
  AlsaCardFacts second = dac(2, "DAC_1", "");
  Twins() {
    first.pathLink = "pci-usb-1";
    second.pathLink = "pci-usb-2";
  }
  void moveLinkToSecond() { std::swap(first.idLink, second.idLink); }
};

TEST(AlsaDeviceList, KeepsADeviceWhatItIsWhenItsTwinTakesItsLinkOver) {
  Twins twins;
  const auto alone = listDevices({twins.first}, {});
  ASSERT_THAT(uidsOf(alone), ElementsAre("usb-a:0"));
  twins.moveLinkToSecond();
  const auto both = listDevices({twins.first, twins.second}, alone);
  ASSERT_THAT(uidsOf(both), ElementsAre("usb-a:0", "pci-usb-2:0"));
  EXPECT_EQ(both[0], alone[0]);
  const auto turned = listDevices({twins.second, twins.first}, alone);
  EXPECT_THAT(uidsOf(turned), ElementsAre("pci-usb-2:0", "usb-a:0")) << "in whichever order the kernel lists them";
  EXPECT_EQ(listDevices({twins.first, twins.second}, both), both) << "and nothing changes at the next look";
}

TEST(AlsaDeviceList, KeepsTheTwinWhatItIsWhenTheFirstIsPluggedOutAndIn) {
  Twins twins;
  twins.moveLinkToSecond();
  const auto both = listDevices({twins.first, twins.second}, listDevices({dac(1, "DAC", "usb-a")}, {}));
  const auto left = listDevices({twins.second}, std::array{both[1]});
  EXPECT_THAT(left, ElementsAre(both[1])) << "although it could have the link now";
  twins.moveLinkToSecond();
  EXPECT_EQ(listDevices({twins.first, twins.second}, left), both);
}

TEST(AlsaDeviceList, TakesAnotherCardAtAKnownIndexForANewcomer) {
  const auto before = std::array{known(1, "DAC", "usb-a:0", "Test DAC")};
  EXPECT_THAT(uidsOf(listDevices({dac(1, "Amp", "usb-b")}, before)), ElementsAre("usb-b:0"));
}

TEST(AlsaDeviceList, GivesADeviceItsLastingNameWhenUdevIsLate) {
  AlsaCardFacts card = dac(1, "DAC", "");
  const auto early = listDevices({card}, {});
  ASSERT_THAT(uidsOf(early), ElementsAre("DAC:0"));
  card.idLink = "usb-a";
  card.pathLink = "pci-usb-1";
  EXPECT_THAT(uidsOf(listDevices({card}, early)), ElementsAre("usb-a:0"));
}

TEST(AlsaDeviceList, KeepsTheDevicesOfACardThatCannotBeRead) {
  const auto before = listDevices({onboard(), dac(1, "DAC", "usb-a")}, {});
  AlsaCardFacts unreadable;
  unreadable.index = 1;
  unreadable.isReadable = false;
  EXPECT_EQ(listDevices({onboard(), unreadable}, before), before);
  EXPECT_THAT(uidsOf(listDevices({unreadable, dac(2, "DAC_1", "usb-a")}, before)), ElementsAre("usb-a:0", "DAC_1:0"))
      << "and no other device takes their place";
  EXPECT_THAT(listDevices({unreadable}, {}), IsEmpty()) << "of one that was never read there is nothing to keep";
}

/// Made-up nodes of cards at indices that no machine has, so that alsa-lib can open none of them.
class AlsaCardNodes : public testing::Test {
 protected:
  AlsaCardNodes() { paths_.devices = folder_.path().string(); }

  std::vector<int> foundOf(const std::set<int>& known) {
    std::vector<int> indices;
    for (const AlsaCardFacts& card :
         collectCardFacts(paths_, known, [this](int index) { return readCardFacts(paths_, index); })) {
      if (card.index >= 1000) indices.push_back(card.isReadable ? -card.index : card.index);
    }
    return indices;
  }

  test::TemporaryFolder folder_;
  AlsaPaths paths_;
};

TEST_F(AlsaCardNodes, FindsAKnownCardThatIsThereAndCannotBeOpened) {
  folder_.write("controlC1000", "");
  folder_.write("controlC1001", "");
  EXPECT_THAT(foundOf({1000}), ElementsAre(1000)) << "there is a node, and 1001 is unknown";
}

TEST_F(AlsaCardNodes, KeepsAKnownCardThatCannotBeReadNow) {
  folder_.write("controlC1000", "");
  folder_.write("controlC1001", "");
  folder_.write("pcmC1002D0p", "");
  std::vector<int> asked;
  const auto cards = collectCardFacts(paths_, {1000, 1003}, [&asked](int index) {
    asked.push_back(index);
    AlsaCardFacts held;
    held.index = index;
    held.isReadable = false;
    return index == 1003 ? std::nullopt : std::optional(held);
  });
  EXPECT_THAT(asked, ElementsAre(1000, 1001, 1003)) << "the cards that have a control node, and the known ones";
  ASSERT_EQ(cards.size(), 1U);
  EXPECT_EQ(cards[0].index, 1000);
}

TEST_F(AlsaCardNodes, FindsNoKnownCardWhoseNodeHasGone) { EXPECT_THAT(foundOf({1000}), IsEmpty()); }

TEST_F(AlsaCardNodes, TakesOnlyAnErrorThatMeansGoneForGone) {
  // A link to itself cannot be opened either, and says neither "no entry" nor "no device".
  std::filesystem::create_symlink("controlC1000", folder_.path() / "controlC1000");
  EXPECT_THAT(foundOf({1000}), ElementsAre(1000));
}

TEST(AlsaDeviceList, KnowsHowADeviceIsConnected) {
  const auto transportOf = [](const AlsaCardFacts& card, std::size_t pcm = 0) {
    return listDevices({card}, {})[pcm].transport;
  };
  EXPECT_EQ(transportOf(onboard()), kAudioDeviceTransportTypeBuiltIn);
  EXPECT_EQ(transportOf(onboard(), 2), kAudioDeviceTransportTypeHDMI);
  EXPECT_EQ(transportOf(dac(1, "DAC", "")), kAudioDeviceTransportTypeUSB);
  EXPECT_EQ(transportOf(loopback()), kAudioDeviceTransportTypeVirtual);
  AlsaCardFacts card = onboard();
  card.busClass = "0x040100";
  card.busPlace = "0000:05:01.0";
  EXPECT_EQ(transportOf(card), kAudioDeviceTransportTypePCI);
  card.bus = "firewire";
  EXPECT_EQ(transportOf(card), kAudioDeviceTransportTypeFireWire);
  card.bus = "";
  EXPECT_EQ(transportOf(card), kAudioDeviceTransportTypeUnknown);
}

TEST(AlsaDeviceList, PrefersHardwareThenDisplaysThenVirtualCards) {
  const auto choice = [](const std::vector<AlsaCardFacts>& cards) {
    const auto devices = listDevices(cards, {});
    const AlsaDeviceInfo* device = defaultDevice(devices);
    return device == nullptr ? std::string("none") : device->uid;
  };
  AlsaCardFacts display = onboard();
  display.pcms = {{3, "HDMI 0", "HDMI 0"}};
  display.pathLink = "pci-hdmi";
  EXPECT_EQ(choice({loopback(), display, dac(6, "DAC", "usb-dac")}), "usb-dac:0");
  EXPECT_EQ(choice({loopback(), display}), "pci-hdmi:3");
  EXPECT_EQ(choice({loopback()}), "Loopback:0");
  EXPECT_EQ(choice({}), "none");
}

}  // namespace
}  // namespace tolvane
