#include "platform/alsa/facts/AlsaChannelMap.h"

#include <gmock/gmock.h>

#include <set>

namespace tolvane {
namespace {

using enum ChannelPosition;
using testing::ElementsAre;
using testing::IsEmpty;

const ChannelLayout wave51 = layoutOfMask(0x3F, 6);

TEST(AlsaChannelMap, ReadsThePositionsOfADriver) {
  const unsigned surround[] = {SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_RL, SND_CHMAP_RR, SND_CHMAP_FC, SND_CHMAP_LFE};
  EXPECT_EQ(layoutOfAlsaMap(surround),
            (ChannelLayout{{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}, true}));
  const unsigned partly[] = {SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_NA, SND_CHMAP_UNKNOWN};
  EXPECT_EQ(layoutOfAlsaMap(partly), (ChannelLayout{{frontLeft, frontRight, silent, unknown}, true}));
  const unsigned nothing[] = {0, 0, 0, 0, 0, 0};
  EXPECT_EQ(layoutOfAlsaMap(nothing), unknownLayout(6));
  const unsigned stereo[] = {SND_CHMAP_UNKNOWN, SND_CHMAP_UNKNOWN};
  EXPECT_EQ(layoutOfAlsaMap(stereo), usualLayout(2));
}

TEST(AlsaChannelMap, KnowsEachPositionOnceAndNoneWithAFlag) {
  std::set<ChannelPosition> known;
  int count = 0;
  for (unsigned position = 0; position <= SND_CHMAP_LAST + 2; ++position) {
    const ChannelPosition found = positionOfAlsa(position);
    if (found == unknown) continue;
    ++count;
    known.insert(found);
    EXPECT_EQ(positionOfAlsa(position | SND_CHMAP_PHASE_INVERSE), unknown) << position;
    EXPECT_EQ(positionOfAlsa(position | SND_CHMAP_DRIVER_SPEC), unknown) << position;
  }
  EXPECT_EQ(count, 22);
  EXPECT_EQ(known.size(), 22U) << "every position but unknown";
}

TEST(AlsaChannelMap, AsksForTheSourcesOrderWhereItMayBeChosen) {
  const AlsaMapOffer offers[] = {
      {{SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_LFE, SND_CHMAP_FC, SND_CHMAP_RC, SND_CHMAP_FLC}, true},
      {{SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_LFE, SND_CHMAP_FC, SND_CHMAP_RL, SND_CHMAP_RR}, true}};
  EXPECT_THAT(chooseAlsaMap(wave51, offers),
              ElementsAre(SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_FC, SND_CHMAP_LFE, SND_CHMAP_RL, SND_CHMAP_RR));
  EXPECT_THAT(chooseAlsaMap(layoutOfMask(0x60F, 6), offers),
              ElementsAre(SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_FC, SND_CHMAP_LFE, SND_CHMAP_RL, SND_CHMAP_RR))
      << "by the names that the driver has";
}

TEST(AlsaChannelMap, TakesAFixedMapAsItIs) {
  const AlsaMapOffer offers[] = {
      {{SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_RL, SND_CHMAP_RR, SND_CHMAP_FC, SND_CHMAP_LFE}}};
  EXPECT_EQ(chooseAlsaMap(wave51, offers), offers[0].positions);
}

TEST(AlsaChannelMap, AsksForNothingThatDoesNotSuitTheSource) {
  const AlsaMapOffer offers[] = {
      {{SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_LFE, SND_CHMAP_FC, SND_CHMAP_RC, SND_CHMAP_FLC}, true},
      {{0, 0, 0, 0, 0, 0}, true}};
  EXPECT_THAT(chooseAlsaMap(wave51, offers), IsEmpty());
  EXPECT_THAT(chooseAlsaMap(wave51, {}), IsEmpty());
  EXPECT_THAT(chooseAlsaMap(usualLayout(6), offers), IsEmpty()) << "the track does not state its positions";
}

}  // namespace
}  // namespace tolvane
