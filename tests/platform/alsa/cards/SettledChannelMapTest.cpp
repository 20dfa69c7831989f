#include <gmock/gmock.h>

#include <cstdint>
#include <span>

#include "platform/alsa/facts/AlsaChannelMap.h"
#include "platform/conversion/ChannelMap.h"
#include "tests/platform/alsa/scripted/ScriptedChannelMap.h"

namespace tolvane {
namespace {

using enum ChannelPosition;
using testing::ElementsAre;
using testing::IsEmpty;

const ChannelLayout wave51 = layoutOfMask(0x3F, 6);
const std::vector<unsigned> surround51{SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_RL,
                                       SND_CHMAP_RR, SND_CHMAP_FC, SND_CHMAP_LFE};
const std::vector<unsigned> inWaveOrder{SND_CHMAP_FL,  SND_CHMAP_FR, SND_CHMAP_FC,
                                        SND_CHMAP_LFE, SND_CHMAP_RL, SND_CHMAP_RR};

ChannelLayout settled(const ChannelLayout& source, std::uint32_t channels) {
  return settleChannelMap(nullptr, source, channels);
}

TEST(SettledChannelMap, IsUnknownWhereTheDriverHasNone) {
  EXPECT_EQ(settled(wave51, 6), unknownLayout(6));
  EXPECT_EQ(settled(usualLayout(2), 2), usualLayout(2));
  ScriptedChannelMap driver;
  EXPECT_EQ(settled(wave51, 6), unknownLayout(6));
  driver.map = {SND_CHMAP_FL, SND_CHMAP_FR};
  EXPECT_EQ(settled(wave51, 6), unknownLayout(6)) << "a map of other channels";
  EXPECT_THAT(driver.sets, IsEmpty());
}

TEST(SettledChannelMap, IsTheDriversWhereItSuits) {
  ScriptedChannelMap driver;
  driver.map = surround51;
  driver.offers = {{SND_CHMAP_TYPE_VAR, inWaveOrder}};
  EXPECT_EQ(settled(wave51, 6),
            (ChannelLayout{{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}, true}));
  EXPECT_THAT(driver.sets, IsEmpty()) << "samples are moved instead";
}

TEST(SettledChannelMap, HasTheOrderInWhichEachChannelReachesItsLoudspeaker) {
  // Surround cards, USB audio class, and one that follows neither.
  for (const std::vector<unsigned>& order :
       {surround51,
        inWaveOrder,
        {SND_CHMAP_LFE, SND_CHMAP_RR, SND_CHMAP_FC, SND_CHMAP_FL, SND_CHMAP_RL, SND_CHMAP_FR}}) {
    ScriptedChannelMap driver;
    driver.map = order;
    const ChannelLayout device = settled(wave51, 6);
    EXPECT_EQ(placementAlteration(wave51, device), std::nullopt);
    const auto map = ChannelMap::make(wave51, device);
    ASSERT_TRUE(map && !map->mixes());
    // Each sample of the source's frame is the driver's number of its loudspeaker.
    std::vector<std::uint16_t> frame(inWaveOrder.begin(), inWaveOrder.end());
    std::vector<std::uint16_t> heard(6);
    map->spread(integerLayout(16, 2), std::as_bytes(std::span(frame)).data(),
                std::as_writable_bytes(std::span(heard)).data(), 1);
    EXPECT_EQ(std::vector<unsigned>(heard.begin(), heard.end()), order);
  }
}

TEST(SettledChannelMap, IsAskedForWhereTheDriversDoesNotSuit) {
  ScriptedChannelMap driver;
  driver.map = {SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_NA, SND_CHMAP_NA, SND_CHMAP_NA, SND_CHMAP_NA};
  driver.offers = {{SND_CHMAP_TYPE_FIXED, {SND_CHMAP_FL, SND_CHMAP_FR}}, {SND_CHMAP_TYPE_VAR, surround51}};
  EXPECT_EQ(settled(wave51, 6), wave51);
  EXPECT_THAT(driver.sets, ElementsAre(inWaveOrder));
}

TEST(SettledChannelMap, TakesAFixedOfferAsItIs) {
  for (const auto type : {SND_CHMAP_TYPE_FIXED, SND_CHMAP_TYPE_PAIRED}) {
    ScriptedChannelMap driver;
    driver.offers = {{type, surround51}};
    EXPECT_EQ(settled(wave51, 6).positions,
              (std::vector{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}));
    EXPECT_THAT(driver.sets, ElementsAre(surround51));
  }
}

TEST(SettledChannelMap, StaysWhereTheDriverRefusesOrOffersNothingThatSuits) {
  ScriptedChannelMap driver;
  driver.map = {SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_RL, SND_CHMAP_RR, SND_CHMAP_SL, SND_CHMAP_SR};
  const ChannelLayout before = layoutOfAlsaMap(driver.map);
  EXPECT_EQ(settled(wave51, 6), before);
  driver.offers = {{SND_CHMAP_TYPE_VAR, surround51}};
  driver.setAnswer = -EBADFD;
  EXPECT_EQ(settled(wave51, 6), before);
  EXPECT_EQ(driver.sets.size(), 1U);
}

}  // namespace
}  // namespace tolvane
