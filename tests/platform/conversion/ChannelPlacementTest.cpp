#include "platform/conversion/ChannelPlacement.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <bit>

namespace tolvane {
namespace {

using enum ChannelPosition;
using Positions = std::vector<ChannelPosition>;
using Order = std::vector<std::optional<std::size_t>>;

const ChannelLayout wave51 = layoutOfMask(0x3F, 6);
const ChannelLayout wave51side = layoutOfMask(0x60F, 6);
const ChannelLayout wave71 = layoutOfMask(0x63F, 8);
const ChannelLayout card51{{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}};
const ChannelLayout card71{
    {frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency, sideLeft, sideRight}};
const ChannelLayout hdmi51{{frontLeft, frontRight, lowFrequency, frontCentre, rearLeft, rearRight}};

TEST(ChannelPlacement, PutsEachChannelWhereTheCardHasItsLoudspeaker) {
  EXPECT_EQ(placeChannels(wave51, card51).sourceOf, (Order{0, 1, 4, 5, 2, 3}));
  EXPECT_EQ(placeChannels(wave51, hdmi51).sourceOf, (Order{0, 1, 3, 2, 4, 5}));
  EXPECT_EQ(placeChannels(wave71, card71).sourceOf, (Order{0, 1, 4, 5, 2, 3, 6, 7}));
  for (const auto& [source, device] : {std::pair{wave51, card51}, {wave51, hdmi51}, {wave71, card71}})
    EXPECT_EQ(placementAlteration(source, device), std::nullopt);
}

TEST(ChannelPlacement, TakesTheOnlySurroundPairOfBothForTheSame) {
  EXPECT_EQ(placeChannels(wave51side, card51).sourceOf, (Order{0, 1, 4, 5, 2, 3}));
  EXPECT_EQ(placementAlteration(wave51side, card51), std::nullopt);
  EXPECT_EQ(placementAlteration(wave51, wave51side), std::nullopt);
}

TEST(ChannelPlacement, KnowsTheSurroundPairsByTheNamesThatHdmiHas) {
  const ChannelLayout hdmi71{
      {frontLeft, frontRight, lowFrequency, frontCentre, rearLeft, rearRight, rearLeftOfCentre, rearRightOfCentre}};
  // As the driver reports what it makes of alsa-lib's order.
  const ChannelLayout driver71{
      {frontLeft, frontRight, rearLeftOfCentre, rearRightOfCentre, frontCentre, lowFrequency, rearLeft, rearRight}};
  EXPECT_EQ(placeChannels(wave71, hdmi71).sourceOf, (Order{0, 1, 3, 2, 6, 7, 4, 5}));
  EXPECT_EQ(placeChannels(wave71, driver71).sourceOf, placeChannels(wave71, card71).sourceOf);
  EXPECT_EQ(placementAlteration(wave71, hdmi71), std::nullopt);
  EXPECT_EQ(placementAlteration(wave71, driver71), std::nullopt);
  // Another receiver has loudspeakers in front in their place.
  const ChannelLayout wide71{
      {frontLeft, frontRight, lowFrequency, frontCentre, rearLeft, rearRight, frontLeftOfCentre, frontRightOfCentre}};
  EXPECT_EQ(placementAlteration(wave71, wide71)->kind, SampleAlteration::Kind::converted);
}

TEST(ChannelPlacement, GivesMonoToBothFrontLoudspeakers) {
  EXPECT_EQ(placeChannels(usualLayout(1), usualLayout(1)).sourceOf, (Order{0}));
  EXPECT_EQ(placeChannels(usualLayout(1), usualLayout(2)).sourceOf, (Order{0, 0}));
  EXPECT_EQ(placeChannels(usualLayout(1), hdmi51).sourceOf, (Order{0, 0, {}, {}, {}, {}}));
  EXPECT_EQ(placeChannels(usualLayout(1), ChannelLayout{{frontCentre, frontLeft, frontRight}}).sourceOf,
            (Order{{}, 0, 0}));
  EXPECT_EQ(placeChannels(usualLayout(1), unknownLayout(4)).sourceOf, (Order{0, 0, {}, {}}));
  EXPECT_EQ(placementAlteration(usualLayout(1), usualLayout(2)), std::nullopt);
}

TEST(ChannelPlacement, FollowsADeviceWhoseChannelsAreSwapped) {
  EXPECT_EQ(placeChannels(usualLayout(2), statedLayout({frontRight, frontLeft})).sourceOf, (Order{1, 0}));
}

TEST(ChannelPlacement, NamesAChannelWithoutAPlaceByItsArticle) {
  const ChannelLayout source = statedLayout({frontLeft, frontRight, unknown});
  EXPECT_EQ(placementAlteration(source, statedLayout({frontLeft, frontRight, silent})),
            (SampleAlteration{SampleAlteration::Kind::converted,
                              "The track has an unpositioned channel, but the device has no loudspeaker for it.",
                              "Choose a device that has one."_cure}));
}

TEST(ChannelPlacement, NamesTheLoudspeakerThatIsMissing) {
  const ChannelLayout withoutCentre{{frontLeft, frontRight, lowFrequency, topCentre, rearLeft, rearRight}};
  EXPECT_EQ(placeChannels(wave51, withoutCentre).unplaced, (std::vector<std::size_t>{2}));
  EXPECT_EQ(placementAlteration(wave51, withoutCentre),
            (SampleAlteration{SampleAlteration::Kind::converted,
                              "The track has a centre channel, but the device has no loudspeaker for it.",
                              "Choose a device that has one."_cure}));
  EXPECT_EQ(placementAlteration(layoutOfMask(0x107, 4), layoutOfMask(0x33, 4)),
            (SampleAlteration{SampleAlteration::Kind::converted,
                              "The device has no loudspeakers for 2 channels of the track: centre, rear centre.",
                              "Choose a device that has them."_cure}));
}

TEST(ChannelPlacement, SaysThatChannelsAreMixedDown) {
  EXPECT_EQ(
      placementAlteration(wave51, usualLayout(2)),
      (SampleAlteration{SampleAlteration::Kind::converted, "The track's 6 channels are mixed down to the device's 2.",
                        "Choose a device that has as many channels."_cure}));
  EXPECT_EQ(
      placementAlteration(usualLayout(2), usualLayout(1)),
      (SampleAlteration{SampleAlteration::Kind::converted, "The track's 2 channels are mixed down to the device's 1.",
                        "Choose a device that has as many channels."_cure}));
}

TEST(ChannelPlacement, KeepsTheOrderWhereADeviceStatesNothing) {
  const ChannelPlacement placement = placeChannels(wave51, unknownLayout(6));
  EXPECT_EQ(placement.sourceOf, (Order{0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(placementAlteration(wave51, unknownLayout(6)),
            (SampleAlteration{SampleAlteration::Kind::unknown,
                              "The device does not state which loudspeakers its 6 channels are for.",
                              "Choose a device whose driver states them."_cure}));
}

TEST(ChannelPlacement, AssumesTheUsualOrderWhereATrackStatesNothing) {
  EXPECT_EQ(placeChannels(usualLayout(6), card51).sourceOf, (Order{0, 1, 4, 5, 2, 3}));
  EXPECT_EQ(placementAlteration(usualLayout(6), card51),
            (SampleAlteration{SampleAlteration::Kind::unknown,
                              "The track does not state which loudspeakers its 6 channels are meant for.",
                              "Save it in a format that does, such as FLAC."_cure}));
}

TEST(ChannelPlacement, PlacesUnknownChannelsOnWhatIsLeftAndIsNotCertain) {
  const ChannelLayout partly{{frontLeft, frontRight, unknown, unknown}};
  const ChannelLayout card{{rearLeft, frontLeft, rearRight, frontRight}};
  EXPECT_EQ(placeChannels(partly, card).sourceOf, (Order{2, 0, 3, 1}));
  EXPECT_EQ(placementAlteration(partly, card)->kind, SampleAlteration::Kind::unknown);
  const ChannelLayout partlyCard{{frontLeft, frontRight, unknown, unknown}};
  EXPECT_EQ(placeChannels(layoutOfMask(0x33, 4), partlyCard).sourceOf, (Order{0, 1, 2, 3}));
  EXPECT_EQ(placementAlteration(layoutOfMask(0x33, 4), partlyCard)->kind, SampleAlteration::Kind::unknown);
}

TEST(ChannelPlacement, PutsNothingOnASilentChannel) {
  const ChannelLayout card{{frontLeft, frontRight, silent, rearLeft}};
  const ChannelPlacement placement = placeChannels(ChannelLayout{{frontLeft, frontRight, unknown, unknown}}, card);
  EXPECT_EQ(placement.sourceOf, (Order{0, 1, {}, 2}));
  EXPECT_EQ(placement.unplaced, (std::vector<std::size_t>{3}));
}

/// Of all layouts with at most 8 channels on all devices with as many: a channel is placed at most once, on its own
/// position or on one that is unknown, and BIT-PERFECT needs every channel on its own.
TEST(ChannelPlacement, NeverMovesAChannelToAnotherLoudspeaker) {
  const std::vector<ChannelLayout> layouts = [] {
    std::vector<ChannelLayout> all;
    for (std::uint32_t mask = 1; mask < 1U << 11U; ++mask) {
      const auto channels = static_cast<std::uint32_t>(std::popcount(mask));
      if (channels >= 3 && channels <= 8) all.push_back(layoutOfMask(mask, channels));
    }
    return all;
  }();
  int exact = 0;
  int altered = 0;
  for (std::size_t i = 0; i < layouts.size(); ++i) {
    for (std::size_t j = i % 7; j < layouts.size(); j += 7) {
      const ChannelLayout& source = layouts[i];
      ChannelLayout device = layouts[j];
      if (device.channelCount() != source.channelCount()) continue;
      std::ranges::rotate(device.positions, device.positions.begin() + static_cast<std::ptrdiff_t>(i % 3));
      const ChannelPlacement placement = placeChannels(source, device);
      std::vector<int> uses(source.channelCount());
      for (std::size_t d = 0; d < device.positions.size(); ++d) {
        if (!placement.sourceOf[d]) continue;
        ++uses[*placement.sourceOf[d]];
        const ChannelPosition from = source.positions[*placement.sourceOf[d]];
        const ChannelPosition to = device.positions[d];
        const bool isSurroundPair = (from == sideLeft && to == rearLeft) || (from == rearLeft && to == sideLeft) ||
                                    (from == sideRight && to == rearRight) || (from == rearRight && to == sideRight);
        ASSERT_TRUE(from == to || isSurroundPair) << i << ' ' << j;
      }
      for (const std::size_t s : placement.unplaced) --uses[s];
      for (const int use : uses) ASSERT_TRUE(use == 1 || use == -1);
      const bool isWhole = placement.unplaced.empty();
      ASSERT_EQ(placementAlteration(source, device).has_value(), !isWhole);
      (isWhole ? exact : altered)++;
    }
  }
  EXPECT_GT(exact, 300);
  EXPECT_GT(altered, 10'000);
}

}  // namespace
}  // namespace tolvane
