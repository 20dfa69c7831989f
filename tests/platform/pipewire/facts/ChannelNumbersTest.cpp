#include "platform/pipewire/facts/ChannelNumbers.h"

#include <gmock/gmock.h>
#include <spa/param/audio/raw.h>

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Positions, AreAsManyAsTheChannels) {
  for (std::uint32_t channels = 1; channels <= 64; ++channels)
    EXPECT_EQ(positionsOf(usualLayout(channels)).size(), channels);
  EXPECT_THAT(positionsOf(usualLayout(0)), IsEmpty());
  EXPECT_THAT(positionsOf(usualLayout(65)), IsEmpty());
  EXPECT_THAT(positionsOf(usualLayout(2)), ElementsAre(SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR));
}

TEST(Positions, AreTheServersNumbersInTheOrderOfTheChannels) {
  EXPECT_THAT(positionsOf(layoutOfMask(0x60F, 6)),
              ElementsAre(SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC, SPA_AUDIO_CHANNEL_LFE,
                          SPA_AUDIO_CHANNEL_SL, SPA_AUDIO_CHANNEL_SR));
  EXPECT_THAT(positionsOf(layoutOfMask(0x3FFFF, 18)),
              ElementsAre(SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_FC, SPA_AUDIO_CHANNEL_LFE,
                          SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR, SPA_AUDIO_CHANNEL_FLC, SPA_AUDIO_CHANNEL_FRC,
                          SPA_AUDIO_CHANNEL_RC, SPA_AUDIO_CHANNEL_SL, SPA_AUDIO_CHANNEL_SR, SPA_AUDIO_CHANNEL_TC,
                          SPA_AUDIO_CHANNEL_TFL, SPA_AUDIO_CHANNEL_TFC, SPA_AUDIO_CHANNEL_TFR, SPA_AUDIO_CHANNEL_TRL,
                          SPA_AUDIO_CHANNEL_TRC, SPA_AUDIO_CHANNEL_TRR));
  EXPECT_THAT(positionsOf(layoutOfMask(0x3, 4)),
              ElementsAre(SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_AUX0, SPA_AUDIO_CHANNEL_AUX1));
  EXPECT_THAT(positionsOf(usualLayout(1)), ElementsAre(SPA_AUDIO_CHANNEL_MONO));
}

TEST(ChannelName, IsTheServersOwn) {
  EXPECT_EQ(channelName(SPA_AUDIO_CHANNEL_FL), "FL");
  EXPECT_EQ(channelName(SPA_AUDIO_CHANNEL_LFE), "LFE");
  EXPECT_EQ(channelName(SPA_AUDIO_CHANNEL_MONO), "MONO");
  EXPECT_EQ(channelName(SPA_AUDIO_CHANNEL_AUX0 + 12), "AUX12");
  EXPECT_EQ(channelName(0xFFFFFFFF), "channel 4294967295");
}

TEST(NamedAsBy, IsTheSinksNameOfTheOnlySurroundPair) {
  enum Speaker : std::uint32_t { FL = 3, FR, FC, LFE, SL, SR, RC = 11, RL, RR, AUX0 = 0x1000 };
  using Positions = std::vector<std::uint32_t>;
  const Positions rear{FL, FR, RL, RR, FC, LFE};
  const Positions side{FL, FR, SL, SR, FC, LFE};
  const Positions both{FL, FR, RL, RR, FC, LFE, SL, SR};
  EXPECT_EQ(namedAsBy(rear, {FL, FR, FC, LFE, SL, SR}), (Positions{FL, FR, FC, LFE, RL, RR}));
  EXPECT_EQ(namedAsBy(side, {FL, FR, FC, LFE, RL, RR}), (Positions{FL, FR, FC, LFE, SL, SR}));
  EXPECT_EQ(namedAsBy(rear, {FL, FR, RC, SL, SR}), (Positions{FL, FR, RC, RL, RR}));
  for (const Positions& track : {Positions{FL, FR}, rear, side, both, {FL, FR, FC, LFE, RL, RR, SL, SR}}) {
    EXPECT_EQ(namedAsBy(both, track), track);
    EXPECT_EQ(namedAsBy({}, track), track);
    EXPECT_EQ(namedAsBy({FL, FR}, track), track);
    EXPECT_EQ(namedAsBy({AUX0, AUX0 + 1, AUX0 + 2}, track), track);
    EXPECT_EQ(namedAsBy(track, track), track);
  }
  EXPECT_EQ(namedAsBy(rear, both), both);
}

}  // namespace
}  // namespace tolvane
