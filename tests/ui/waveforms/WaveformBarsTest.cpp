#include "ui/waveforms/WaveformBars.h"

#include <gmock/gmock.h>

#include <cmath>

namespace tolvane {
namespace {

using testing::DoubleEq;
using testing::DoubleNear;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pointwise;

using Samples = std::vector<double>;

TEST(ResampledSamples, TakeTheLoudestOfEachGroup) {
  EXPECT_THAT(resampledSamples(Samples{0.2, 0.4, 0.1}, 1), ElementsAre(1.0));
  EXPECT_THAT(resampledSamples(Samples{0.1, 0.2, 0.4, 0.3}, 2), ElementsAre(0.5, 1.0));
}

TEST(ResampledSamples, RepeatSamplesWhereThereAreMoreBars) {
  EXPECT_THAT(resampledSamples(Samples{0.5, 1.0}, 3), ElementsAre(0.5, 0.5, 1.0));
}

TEST(ResampledSamples, AreMeasuredByTheLoudestOfAll) {
  EXPECT_THAT(resampledSamples(Samples{0.02, 0.01}, 2), ElementsAre(1.0, 0.5));
}

TEST(ResampledSamples, OfSilenceAreZeroAndOfNearSilenceStayLow) {
  EXPECT_THAT(resampledSamples(Samples{0, 0, 0}, 2), Each(0.0));
  EXPECT_THAT(resampledSamples(Samples{0.00005}, 1), ElementsAre(DoubleEq(0.5)));
}

TEST(ResampledSamples, StandInForWhatIsNotKnownYet) {
  EXPECT_THAT(resampledSamples({}, 10),
              Pointwise(DoubleNear(1e-12), Samples{0.08, 0.15, 0.13, 0.11, 0.09, 0.16, 0.14, 0.12, 0.10, 0.08}));
}

TEST(ResampledSamples, OfNoBarsAreNone) {
  EXPECT_THAT(resampledSamples(Samples{1}, 0), IsEmpty());
  EXPECT_THAT(resampledSamples({}, 0), IsEmpty());
}

TEST(ResampledSamples, KeepWithinTheirRangeWhateverTheFileHolds) {
  EXPECT_THAT(resampledSamples(Samples{-1, 2}, 2), ElementsAre(0.0, 1.0));
}

TEST(WaveformBars, FillTheWidthAndStandInItsMiddle) {
  const WaveformLayout layout{.width = 100, .height = 30, .barWidth = 1.5, .spacing = 2.5};
  EXPECT_EQ(layout.barCount(), 25U);  // 102.5 / 4
  const auto bars = layout.bars(Samples{1});
  const double total = 25 * 1.5 + 24 * 2.5;
  EXPECT_DOUBLE_EQ(bars.front().x, (100 - total) / 2);
  EXPECT_DOUBLE_EQ(bars.back().x + bars.back().width, 100 - (100 - total) / 2);
  EXPECT_DOUBLE_EQ(bars[1].x - bars[0].x, 4);
}

TEST(WaveformBars, StandUprightAboutTheMiddle) {
  const WaveformLayout layout{.width = 4, .height = 50, .barWidth = 3, .spacing = 1};
  const auto bars = layout.bars(Samples{0.3});
  ASSERT_EQ(bars.size(), 1U);
  EXPECT_DOUBLE_EQ(bars[0].height, 46);
  EXPECT_DOUBLE_EQ(bars[0].y, 2);
  EXPECT_DOUBLE_EQ(bars[0].radius, 1.5);
  EXPECT_DOUBLE_EQ(bars[0].x, 0.5);
}

TEST(WaveformBars, AreAtLeastFourPointsHigh) {
  for (const auto& bar : WaveformLayout{.width = 100, .height = 40}.bars(Samples{0, 0})) {
    EXPECT_EQ(bar.height, 4);
    EXPECT_EQ(bar.y, 18);
  }
}

TEST(WaveformBars, AreAtLeastAPointWideAndNeverOverlap) {
  const auto bars = WaveformLayout{.width = 10, .height = 10, .barWidth = 0.2, .spacing = -3}.bars(Samples{1});
  ASSERT_EQ(bars.size(), 10U);
  EXPECT_EQ(bars[0].width, 1);
  EXPECT_EQ(bars[0].radius, 0.5);
  EXPECT_EQ(bars[1].x, 1);
}

TEST(WaveformBars, AreRoundedByTwoPointsAtMost) {
  EXPECT_EQ((WaveformLayout{.width = 40, .height = 40, .barWidth = 9}.bars({})[0].radius), 2);
}

TEST(WaveformBars, AreOneWhereThereIsRoomForLess) {
  const auto bars = WaveformLayout{.width = 1, .height = 10, .barWidth = 3}.bars(Samples{1});
  ASSERT_EQ(bars.size(), 1U);
  EXPECT_EQ(bars[0].x, 0);
}

TEST(WaveformBars, AreNoneWithoutRoom) {
  for (const auto& [width, height] : {std::pair{0.0, 10.0}, {10.0, 0.0}, {-1.0, 10.0}, {std::nan(""), 10.0}})
    EXPECT_THAT((WaveformLayout{.width = width, .height = height}.bars(Samples{1})), IsEmpty());
}

TEST(WaveformBars, ArePlayedUpToTheirCentre) {
  WaveformLayout layout{.width = 100, .height = 10, .barWidth = 10, .spacing = 0};
  const auto played = [&](double progress) {
    layout.progress = progress;
    std::size_t count = 0;
    for (const auto& bar : layout.bars(Samples{1})) count += bar.isActive ? 1 : 0;
    EXPECT_EQ(count, layout.activeBarCount()) << progress;
    return count;
  };
  EXPECT_EQ(played(0), 0U);
  EXPECT_EQ(played(0.049), 0U);
  EXPECT_EQ(played(0.05), 1U);
  EXPECT_EQ(played(0.5), 5U);
  EXPECT_EQ(played(0.95), 10U);
  EXPECT_EQ(played(7), 10U);
  EXPECT_EQ(played(-1), 0U);
  EXPECT_EQ(played(std::nan("")), 0U);
}

}  // namespace
}  // namespace tolvane
