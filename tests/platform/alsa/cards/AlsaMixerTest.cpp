#include "platform/alsa/cards/AlsaMixer.h"

#include <gtest/gtest.h>

#include <limits>

namespace tolvane {
namespace {

constexpr double muted = -std::numeric_limits<double>::infinity();

TEST(AlsaMixer, AddsUpTheVolumesOnThePathOfMusic) {
  struct Case {
    std::vector<AlsaVolumeControl> controls;
    bool isUsb;
    std::optional<double> volume;
    const char* what;
  };
  for (const Case& c : {
           Case{{}, true, std::nullopt, "no control"},
           Case{{{"PCM", -10}}, true, -10, "a USB device's own volume"},
           Case{{{"Test DAC Output", -3.5}}, true, -3.5, "of any name"},
           Case{{{"PCM", -10}, {"Mic", -20}, {"Line In", -6}, {"Sidetone", 0}}, true, -10, "but not of its inputs"},
           Case{{{"Mic", 0}}, true, std::nullopt, "nor of inputs alone"},
           Case{{{"Master", -6}, {"PCM", -4}}, false, -10, "stages that follow one another"},
           Case{{{"Master", -6}, {"Headphone", -3}, {"Speaker", -9}, {"Beep", -30}},
                false,
                -6,
                "others are side by side"},
           Case{{{"Beep", -30}}, false, std::nullopt, "or not on the way"},
           Case{{{"Master", muted}, {"PCM", -4}}, false, muted, "one that mutes is enough"},
           Case{{{"Mic", muted}, {"PCM", -4}}, true, -4, "but no input"},
       }) {
    EXPECT_EQ(hardwareVolume(c.controls, c.isUsb), c.volume) << c.what;
  }
}

TEST(AlsaMixer, DistinguishesAMutedChannelFromALoudOne) {
  constexpr long driversMute = -9999999;
  EXPECT_EQ(channelDecibels(0, true), 0);
  EXPECT_EQ(channelDecibels(-1050, true), -10.5);
  EXPECT_EQ(channelDecibels(0, false), muted) << "by its switch, whatever its volume";
  EXPECT_EQ(channelDecibels(std::nullopt, false), muted);
  EXPECT_EQ(channelDecibels(driversMute, true), muted) << "by a volume that is turned down all the way";
  EXPECT_EQ(channelDecibels(driversMute + 1, true), (driversMute + 1) / 100.0);
  EXPECT_EQ(channelDecibels(std::nullopt, true), std::nullopt);
}

TEST(AlsaMixer, OfACardThatIsNotThereHasNoControls) { EXPECT_TRUE(readVolumeControls(1000).empty()); }

}  // namespace
}  // namespace tolvane
