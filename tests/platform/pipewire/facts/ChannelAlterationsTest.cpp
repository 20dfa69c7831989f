#include <gmock/gmock.h>

#include <utility>
#include <vector>

#include "platform/pipewire/facts/ChannelNumbers.h"
#include "platform/pipewire/facts/PathAlterations.h"
#include "tests/platform/pipewire/facts/NeutralPath.h"

namespace tolvane {
namespace {

using namespace test::path;
using testing::HasSubstr;
using enum SampleAlteration::Kind;

TEST(ChannelAlterations, AreNoneWhereTheTrackOnlyHasItsChannelsInAnotherOrder) {
  auto byName = linked({FL, FR, FC, LFE, RL, RR}, {FL, FR, RL, RR, FC, LFE},
                       {{"FL", "FL"}, {"FR", "FR"}, {"FC", "FC"}, {"LFE", "LFE"}, {"RL", "RL"}, {"RR", "RR"}});
  byName.sink().alsaPath = "surround51:0";
  EXPECT_EQ(detailsOf(byName.alterations()), "");
  auto byPlace = linked({FL, FR, FC, LFE, RL, RR}, {FL, FR, RL, RR, FC, LFE},
                        {{"FL", "FL"}, {"FR", "FR"}, {"FC", "RL"}, {"LFE", "RR"}, {"RL", "FC"}, {"RR", "LFE"}});
  byPlace.sink().alsaPath = "surround51:0";
  EXPECT_THAT(byPlace.alterations(), testing::SizeIs(1)) << "where the names differ";
}

TEST(ChannelAlterations, AreNoneWhereNumberedChannelsAreTakenInTheirOrder) {
  EXPECT_EQ(detailsOf(linked({FL, FR}, {AUX0, AUX1}, {{"FL", "AUX0"}, {"FR", "AUX1"}}).alterations()), "");
  EXPECT_EQ(detailsOf(linked({FL, FR}, {AUX0, AUX1}, {{"AUX0", "AUX0"}, {"AUX1", "AUX1"}}).alterations()), "");
  for (const auto& crossed : {linked({FL, FR}, {AUX0, AUX1}, {{"FL", "AUX1"}, {"FR", "AUX0"}}),
                              linked({FL, FR}, {AUX0, AUX1}, {{"FL", "AUX0"}, {"FR", "AUX0"}}),
                              linked({FL, FR}, {AUX0, AUX1}, {{"FL", "AUX0"}}),
                              linked({FL, FR}, {AUX0, AUX1}, {{"AUX0", "AUX1"}, {"AUX1", "AUX0"}}),
                              linked({FL}, {AUX0, AUX1}, {{"FL", "AUX0"}}),
                              linked({FL, FR}, {AUX1, AUX0}, {{"FL", "AUX1"}, {"FR", "AUX0"}})}) {
    ASSERT_THAT(crossed.alterations(), testing::SizeIs(1));
    EXPECT_EQ(crossed.alterations()[0].kind, converted);
  }
}

TEST(ChannelAlterations, NameAnOrderOfChannelsBeyondStereoThatIsAssumed) {
  auto path = linked({FL, FR, FC, LFE, RL, RR}, {FL, FR, RL, RR, FC, LFE},
                     {{"FL", "FL"}, {"FR", "FR"}, {"FC", "FC"}, {"LFE", "LFE"}, {"RL", "RL"}, {"RR", "RR"}});
  path.sink().card = 50;
  struct Case {
    const char* bus;
    const char* name;
    bool isAssumed;
  };
  for (const auto& [bus, name, isAssumed] : {Case{"usb", "surround51:0", true},
                                             {"usb", "hw:0", true},
                                             {"pci", "hw:0", true},
                                             {"", "hw:0", true},
                                             {"pci", "surround51:0", false},
                                             {"pci", "hdmi:0", true},
                                             {"", "surround51:0", false},
                                             // Whose names may be a rule's, and not the configuration's.
                                             {"usb", "_ucm0001.hw:II", true},
                                             {"pci", "_ucm0001.hw:II", true}}) {
    path.facts.cards[50].bus = bus;
    path.sink().alsaPath = name;
    const auto found = path.alterations();
    ASSERT_EQ(found.size(), isAssumed ? 1U : 0U) << bus << ' ' << name << ": " << detailsOf(found);
    if (!isAssumed) continue;
    EXPECT_EQ(found[0].kind, unknown);
    EXPECT_EQ(
        found[0].detail,
        "The sound server assumes which loudspeakers the device's 6 channels are for. Turn on Exclusive Access to use "
        "the order that the device's driver reports.");
  }
  for (const char* name : {"hw:0", "front:0"}) {
    auto stereo = linked({FL, FR}, {FL, FR}, {{"FL", "FL"}, {"FR", "FR"}});
    stereo.sink().card = 50;
    stereo.sink().alsaPath = name;
    stereo.facts.cards[50].bus = "usb";
    EXPECT_EQ(detailsOf(stereo.alterations()), "") << name;
  }
}

TEST(ChannelAlterations, AreNoneWhereChannelsHaveTheOrderOfTheName) {
  struct Case {
    const char* name;
    std::vector<std::uint32_t> channels;
  };
  int cases = 0;
  for (const char* bus : {"pci", "usb", ""}) {
    for (const char* name : {"front:0", "hw:0", "hw:0,3", "hdmi:0,1", "iec958:0", "_ucm0001.hw:0"}) {
      EXPECT_EQ(detailsOf(openedAs(bus, name, {FL, FR}).alterations()), "") << bus << ' ' << name;
      EXPECT_EQ(detailsOf(openedAs(bus, name, {AUX0, AUX1}).alterations()), "") << bus << ' ' << name;
      ++cases;
    }
    EXPECT_EQ(detailsOf(openedAs(bus, "hw:0", {MONO}).alterations()), "") << bus;
  }
  for (const char* bus : {"pci", ""}) {
    for (const auto& [name, channels] : {Case{"surround40:0", {FL, FR, RL, RR}},
                                         {"surround51:0", {FL, FR, RL, RR, FC, LFE}},
                                         {"surround71:0", {FL, FR, RL, RR, FC, LFE, SL, SR}},
                                         // If there is one pair beside or behind the listener, both names mean it.
                                         {"surround40:0", {FL, FR, SL, SR}},
                                         {"surround51:0", {FL, FR, SL, SR, FC, LFE}}}) {
      EXPECT_EQ(detailsOf(openedAs(bus, name, channels).alterations()), "") << bus << ' ' << name;
      ++cases;
    }
  }
  EXPECT_EQ(cases, 28);
}

TEST(ChannelAlterations, NameAnotherOrderThanThatOfTheName) {
  struct Case {
    const char* bus;
    const char* name;
    std::vector<std::uint32_t> channels;
    const char* order;
  };
  int cases = 0;
  for (const auto& [bus, name, channels, order] :
       {Case{"pci", "front:0", {FR, FL}, "FR, FL"},
        {"usb", "front:0", {FR, FL}, "FR, FL"},
        {"usb", "hw:0", {FR, FL}, "FR, FL"},
        {"", "hw:0,3", {FR, FL}, "FR, FL"},
        {"pci", "hdmi:0,1", {FR, FL}, "FR, FL"},
        {"pci", "iec958:0", {FR, FL}, "FR, FL"},
        {"pci", "surround40:0", {FL, RL, FR, RR}, "FL, RL, FR, RR"},
        {"pci", "surround51:0", {FL, FR, FC, LFE, RL, RR}, "FL, FR, FC, LFE, RL, RR"},
        {"", "surround51:0", {FL, FR, FC, LFE, RL, RR}, "FL, FR, FC, LFE, RL, RR"},
        {"pci", "surround51:0", {FL, FR, FC, LFE, SL, SR}, "FL, FR, FC, LFE, SL, SR"},
        {"pci", "surround71:0", {FL, FR, FC, LFE, RL, RR, SL, SR}, "FL, FR, FC, LFE, RL, RR, SL, SR"},
        {"pci", "surround71:0", {FL, FR, SL, SR, FC, LFE, RL, RR}, "FL, FR, SL, SR, FC, LFE, RL, RR"}}) {
    const auto found = openedAs(bus, name, channels).alterations();
    ++cases;
    ASSERT_EQ(found.size(), 1U) << bus << ' ' << name << ": " << detailsOf(found);
    EXPECT_EQ(found[0].kind, converted);
    EXPECT_EQ(found[0].detail,
              std::string("The sound server's settings put this device's channels in another order (") + order +
                  "). Remove audio.position from its settings.");
  }
  EXPECT_EQ(cases, 12);
}

/// The stated order may be the device's own, from a configuration for it or from its driver.
TEST(ChannelAlterations, NameAnOrderThatMayBeTheDevicesOwn) {
  auto configured = openedAs("pci", "_ucm0001.hw:0", {FR, FL});
  auto asked = openedAs("pci", "surround51:0", {FL, FR, FC, LFE, RL, RR});
  for (auto& [name, value] : asked.sink().props.settings)
    if (name == "api.alsa.use-chmap") value = "true";
  for (const NeutralPath* path : {&configured, &asked}) {
    const auto found = path->alterations();
    ASSERT_EQ(found.size(), 1U) << detailsOf(found);
    EXPECT_EQ(found[0].kind, unknown);
    EXPECT_THAT(found[0].detail,
                testing::StartsWith("The sound server puts this device's channels in an unusual order ("));
  }
}

/// The name does not state the device's order: a rule may correct it.
TEST(ChannelAlterations, NameAnAssumedOrderOnceWhateverItIs) {
  int cases = 0;
  for (const auto& [bus, name] : {std::pair{"usb", "surround51:0"},
                                  {"usb", "hw:0"},
                                  {"pci", "hw:0"},
                                  {"pci", "_ucm0001.hw:0"},
                                  {"usb", "_ucm0001.hw:0"},
                                  {"pci", "hdmi:0,1"}}) {
    for (const std::vector<std::uint32_t>& channels :
         {std::vector<std::uint32_t>{FL, FR, FC, LFE, RL, RR}, {FL, FR, RL, RR, FC, LFE}}) {
      const auto found = openedAs(bus, name, channels).alterations();
      ++cases;
      ASSERT_EQ(found.size(), 1U) << bus << ' ' << name << ": " << detailsOf(found);
      EXPECT_EQ(found[0].kind, unknown);
      EXPECT_THAT(found[0].detail, HasSubstr("assumes which loudspeakers"));
    }
  }
  EXPECT_EQ(cases, 12);
  const auto hdmi71 = openedAs("pci", "hdmi:0", {FL, FR, RL, RR, FC, LFE, SL, SR}).alterations();
  ASSERT_EQ(hdmi71.size(), 1U) << detailsOf(hdmi71);
  EXPECT_THAT(hdmi71[0].detail, HasSubstr("assumes which loudspeakers")) << "the driver asks the receiver";
}

/// Loudspeakers that the name does not stand for, and so in no order that is known.
TEST(ChannelAlterations, NameLoudspeakersThatAreNotThoseOfTheName) {
  int cases = 0;
  for (const auto& [name, channels] : {std::pair<const char*, std::vector<std::uint32_t>>{"hdmi:0", {FL, FR, LFE}},
                                       {"surround40:0", {FL, FR, FC, LFE}},
                                       {"surround71:0", {FL, FR, RL, RR, FC, LFE}},
                                       {"front:0", {FL, FR, RL, RR}}}) {
    const auto found = openedAs("pci", name, channels).alterations();
    ++cases;
    ASSERT_EQ(found.size(), 1U) << name << ": " << detailsOf(found);
    EXPECT_EQ(found[0].kind, unknown);
    EXPECT_THAT(found[0].detail, HasSubstr("assumes which loudspeakers"));
  }
  EXPECT_EQ(cases, 4);
}

TEST(ChannelAlterations, NameNumberedChannelsBeyondStereo) {
  const auto found =
      linked({FL, FR, FC}, {AUX0, AUX1, AUX2}, {{"FL", "AUX0"}, {"FR", "AUX1"}, {"FC", "AUX2"}}).alterations();
  ASSERT_THAT(found, testing::SizeIs(1));
  EXPECT_EQ(found[0].kind, unknown);
  EXPECT_EQ(
      found[0].detail,
      "The device does not state which loudspeakers its 3 channels are for. Turn on Exclusive Access to use the order "
      "that the device's driver reports.");
}

}  // namespace
}  // namespace tolvane
