#include "platform/ChannelLayout.h"

#include <gmock/gmock.h>

#include <set>
#include <string_view>

namespace tolvane {
namespace {

using enum ChannelPosition;
using Positions = std::vector<ChannelPosition>;

TEST(ChannelLayout, IsStatedForMonoAndStereoOnly) {
  EXPECT_EQ(usualLayout(1), (ChannelLayout{{mono}, true}));
  EXPECT_EQ(usualLayout(2), (ChannelLayout{{frontLeft, frontRight}, true}));
  EXPECT_EQ(usualLayout(6),
            (ChannelLayout{{frontLeft, frontRight, frontCentre, lowFrequency, rearLeft, rearRight}, false}));
  EXPECT_EQ(usualLayout(0), (ChannelLayout{{}, true}));
  EXPECT_EQ(usualLayout(9), (ChannelLayout{Positions(9, unknown), false}));
  for (std::uint32_t channels = 0; channels < 100; ++channels) {
    EXPECT_EQ(usualLayout(channels).channelCount(), channels);
    EXPECT_EQ(usualLayout(channels).isStated, channels <= 2);
    EXPECT_EQ(unknownLayout(channels).channelCount(), channels);
    EXPECT_EQ(unknownLayout(channels).has(unknown), channels > 2);
  }
}

TEST(ChannelLayout, TakesTheBitsOfAMaskInTheirOrder) {
  EXPECT_EQ(layoutOfMask(0x3F, 6),
            (ChannelLayout{{frontLeft, frontRight, frontCentre, lowFrequency, rearLeft, rearRight}, true}));
  EXPECT_EQ(layoutOfMask(0x60F, 6),
            (ChannelLayout{{frontLeft, frontRight, frontCentre, lowFrequency, sideLeft, sideRight}, true}));
  EXPECT_EQ(layoutOfMask(0x63F, 8).positions,
            (Positions{frontLeft, frontRight, frontCentre, lowFrequency, rearLeft, rearRight, sideLeft, sideRight}));
  const ChannelLayout all = layoutOfMask(0x3FFFF, 18);
  for (std::uint32_t bit = 0; bit < 18; ++bit) EXPECT_EQ(all.positions[bit], static_cast<ChannelPosition>(bit));
}

TEST(ChannelLayout, LeavesChannelsThatAMaskDoesNotNameUnknown) {
  EXPECT_EQ(layoutOfMask(0x3, 4), (ChannelLayout{{frontLeft, frontRight, unknown, unknown}, true}));
  EXPECT_EQ(layoutOfMask(0x80000000U, 3), (ChannelLayout{{unknown, unknown, unknown}, true}));
  EXPECT_EQ(layoutOfMask(0x63F, 3).positions, (Positions{frontLeft, frontRight, frontCentre}))
      << "more bits than channels";
  EXPECT_EQ(layoutOfMask(0, 6), usualLayout(6)) << "an empty mask states nothing";
}

TEST(ChannelLayout, IsMonoOrStereoWhateverAMaskOfFewChannelsSays) {
  for (const std::uint32_t mask : {0U, 1U, 4U, 3U, 0xCU, 0x30U, 0xFFFFFFFFU}) {
    EXPECT_EQ(layoutOfMask(mask, 1), usualLayout(1)) << mask;
    EXPECT_EQ(layoutOfMask(mask, 2), usualLayout(2)) << mask;
  }
  EXPECT_EQ(statedLayout({rearLeft, rearRight}), usualLayout(2));
  EXPECT_EQ(statedLayout({frontRight, frontLeft}), (ChannelLayout{{frontRight, frontLeft}, true}));
}

TEST(ChannelLayout, NamesEveryPositionOnce) {
  std::set<std::string_view> names;
  for (int i = 0; i <= static_cast<int>(unknown); ++i) names.insert(positionText(static_cast<ChannelPosition>(i)));
  EXPECT_EQ(names.size(), static_cast<std::size_t>(unknown) + 1);
  EXPECT_FALSE(names.contains(""));
}

}  // namespace
}  // namespace tolvane
