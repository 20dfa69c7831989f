// The order of a sink's channels beside what the card's driver states.

#include "platform/pipewire/facts/ChannelOrder.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/pipewire/facts/ChannelNumbers.h"
#include "tests/platform/pipewire/facts/NeutralPath.h"

namespace tolvane {
namespace {

using namespace test::path;
using testing::HasSubstr;
using enum SampleAlteration::Kind;
using Channels = std::vector<std::uint32_t>;

const Channels waveOrder{FL, FR, FC, LFE, RL, RR};
const Channels alsaOrder{FL, FR, RL, RR, FC, LFE};

/// A card on `bus`, opened by this name, whose driver states the channels of its PCM; the sink's are `channels`.
NeutralPath drivenAs(const char* bus, const char* name, const Channels& channels, const Channels& driver) {
  auto path = openedAs(bus, name, channels);
  path.stream.cardChannels = layoutOf(driver);
  return path;
}

TEST(ChannelOrder, IsProvenByTheDriverWhateverTheNameOfThePcm) {
  int cases = 0;
  for (const auto& [bus, name] : {std::pair{"usb", "hw:0"},
                                  {"pci", "hw:0"},
                                  {"", "hw:0,3"},
                                  {"pci", "_ucm0001.hw:0"},
                                  {"usb", "_ucm0001.hw:DAC"},
                                  {"pci", "hdmi:0,1"}}) {
    for (const Channels& order : {waveOrder, alsaOrder, Channels{FL, FR, RL, RR, FC, LFE, SL, SR}, Channels{FL, FR}}) {
      EXPECT_EQ(detailsOf(drivenAs(bus, name, order, order).alterations()), "") << bus << ' ' << name;
      ++cases;
    }
  }
  EXPECT_EQ(detailsOf(drivenAs("pci", "surround51:0", alsaOrder, alsaOrder).alterations()), "");
  EXPECT_EQ(detailsOf(drivenAs("pci", "front:0", {FR, FL}, {FR, FL}).alterations()), "") << "a rule put it right";
  EXPECT_EQ(cases, 24);
}

TEST(ChannelOrder, IsTheSameWhereOnlyTheNamesOfASurroundPairDiffer) {
  EXPECT_EQ(detailsOf(drivenAs("usb", "hw:0", waveOrder, {FL, FR, FC, LFE, SL, SR}).alterations()), "");
  EXPECT_EQ(detailsOf(drivenAs("pci", "hw:0", {FL, FR, SL, SR, FC, LFE}, alsaOrder).alterations()), "");
  auto hdmi = openedAs("pci", "hdmi:0", {FL, FR, SL, SR, FC, LFE, RL, RR});
  using enum ChannelPosition;
  hdmi.stream.cardChannels = {
      {frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency, rearLeftOfCentre, rearRightOfCentre}};
  EXPECT_EQ(detailsOf(hdmi.alterations()), "") << "what HDMI calls its two pairs";
}

TEST(ChannelOrder, IsRefutedByTheDriver) {
  struct Case {
    const char* bus;
    const char* name;
    Channels server;
    Channels driver;
    SampleAlteration::Kind kind;
    const char* words;
  };
  const char* const assumed =
      "takes this device's channels for FL, FR, RL, RR, FC, LFE, but its driver states FL, FR, ";
  int cases = 0;
  for (const auto& [bus, name, server, driver, kind, words] :
       {Case{"usb", "hw:0", alsaOrder, waveOrder, converted, assumed},
        Case{"pci", "hw:0", alsaOrder, waveOrder, converted, assumed},
        Case{"usb", "_ucm0001.hw:0", alsaOrder, waveOrder, converted, assumed},
        Case{"pci", "hdmi:0", alsaOrder, waveOrder, converted, assumed},
        // The system's sound library may move channels behind this name.
        Case{"pci", "surround51:0", alsaOrder, waveOrder, unknown, assumed},
        Case{"pci", "hw:0", alsaOrder, {FL, FR, RL, RR, FC, FC}, converted, "but its driver states FL, FR, RL, RR, FC"},
        Case{"pci", "hdmi:0", {FL, FR, LFE}, {FL, FR, FC}, converted, "for FL, FR, LFE, but its driver states FL, FR"},
        Case{"pci", "hw:0", alsaOrder, {FL, FR, FC, LFE, AUX0, AUX1}, converted, "but its driver states FL, FR, FC"},
        Case{"usb",
             "hw:0",
             {FL, FR},
             {FR, FL},
             converted,
             "takes this device's channels for FL, FR, but its driver states FR"},
        // By its own name, too: it is the setting that can be mended.
        Case{"pci", "surround51:0", waveOrder, alsaOrder, converted, "settings put this device's channels in another"},
        Case{"pci", "front:0", {FR, FL}, {FL, FR}, converted, "settings put this device's channels in another"},
        // What may come from a configuration for the device is refuted by its driver.
        Case{"pci", "_ucm0001.hw:0", {FR, FL}, {FL, FR}, converted, "its driver states FL, FR"}}) {
    const auto found = drivenAs(bus, name, server, driver).alterations();
    ++cases;
    ASSERT_EQ(found.size(), 1U) << bus << ' ' << name << ": " << detailsOf(found);
    EXPECT_EQ(found[0].kind, kind) << found[0].detail;
    EXPECT_THAT(found[0].detail, HasSubstr(words));
  }
  EXPECT_EQ(cases, 12);
}

TEST(ChannelOrder, IsNotProvenByWhatTheDriverLeavesOut) {
  struct Case {
    const char* bus;
    const char* name;
    Channels driver;
  };
  int cases = 0;
  for (const auto& [bus, name, driver] :
       {Case{"usb", "hw:0", {}}, Case{"usb", "hw:0", {FL, FR}}, Case{"usb", "hw:0", {FL, FR, FC, LFE, RL, RR, SL, SR}},
        Case{"pci", "hw:0", {FL, FR, FC, LFE, AUX0, AUX1}},
        // Behind this name the system's sound library moves the channels of every USB device.
        Case{"usb", "surround51:0", waveOrder}, Case{"usb", "surround51:0", alsaOrder}}) {
    const auto found = drivenAs(bus, name, waveOrder, driver).alterations();
    ++cases;
    ASSERT_EQ(found.size(), 1U) << bus << ' ' << name << ": " << detailsOf(found);
    EXPECT_EQ(found[0].kind, unknown);
    EXPECT_THAT(found[0].detail, HasSubstr("assumes which loudspeakers the device's 6 channels are for"));
  }
  EXPECT_EQ(cases, 6);
  const auto routed = drivenAs("pci", "surround40:0", {FL, FR, FC, LFE}, {FL, FR, FC, LFE}).alterations();
  ASSERT_EQ(routed.size(), 1U) << detailsOf(routed);
  EXPECT_THAT(routed[0].detail, HasSubstr("assumes which loudspeakers")) << "the name may be a route to other channels";
  const auto plugin = drivenAs("usb", "half:0", alsaOrder, alsaOrder).alterations();
  ASSERT_EQ(plugin.size(), 1U) << detailsOf(plugin);
  EXPECT_THAT(plugin[0].detail, HasSubstr("which may alter samples")) << "a plug-in may move them";
}

NeutralPath numbered(const Channels& track, const Channels& driver) {
  Channels sink;
  std::vector<std::pair<std::string, std::string>> links;
  for (const std::uint32_t channel : track) {
    const auto next = static_cast<std::uint32_t>(AUX0 + sink.size());
    links.emplace_back(channelName(channel), channelName(next));
    sink.push_back(next);
  }
  auto path = linked(track, sink, links);
  path.sink().alsaPath = "hw:0";
  path.stream.cardChannels = layoutOf(driver);
  return path;
}

TEST(ChannelOrder, OfNumberedChannelsIsTheTracks) {
  EXPECT_EQ(detailsOf(numbered(waveOrder, waveOrder).alterations()), "");
  EXPECT_EQ(detailsOf(numbered({FL, FR}, {FL, FR}).alterations()), "");
  EXPECT_EQ(detailsOf(numbered({FL, FR}, {}).alterations()), "");
  for (const auto& [track, driver] : {std::pair{waveOrder, alsaOrder}, {Channels{FL, FR}, Channels{FR, FL}}}) {
    const auto found = numbered(track, driver).alterations();
    ASSERT_EQ(found.size(), 1U) << detailsOf(found);
    EXPECT_EQ(found[0].kind, converted);
    EXPECT_THAT(found[0].detail, HasSubstr("but its driver states"));
  }
  for (const Channels& driver : {Channels{}, Channels{FL, FR, FC, LFE, AUX0, AUX1}}) {
    const auto found = numbered(waveOrder, driver).alterations();
    ASSERT_EQ(found.size(), 1U) << detailsOf(found);
    EXPECT_EQ(found[0].kind, unknown);
    EXPECT_THAT(found[0].detail, HasSubstr("does not state which loudspeakers its 6 channels are for"));
  }
  EXPECT_EQ(detailsOf(numbered({AUX0, AUX1, AUX2}, {FL, FR, FC}).alterations()), "")
      << "a track that does not state its channels is reported beside this";
}

}  // namespace
}  // namespace tolvane
