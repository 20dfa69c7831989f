#include "ui/playlist/TrackListLayout.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

struct LayoutCase {
  double visible;
  std::int64_t tracks;
  double offset;
  bool top;
  bool bottom;
};

class Fades : public testing::TestWithParam<LayoutCase> {};

TEST_P(Fades, ShowAtTheEndsThatHideRows) {
  const auto& [visible, tracks, offset, top, bottom] = GetParam();
  const TrackListFades fades = trackListFades(visible, tracks, offset);
  EXPECT_EQ(fades.showTopFade, top);
  EXPECT_EQ(fades.showBottomFade, bottom);
}

INSTANTIATE_TEST_SUITE_P(Lists, Fades,
                         testing::Values(LayoutCase{232, 10, 0, false, true},     // at the top
                                         LayoutCase{232, 10, 2, false, true},     // two points hide nothing
                                         LayoutCase{232, 10, 2.1, true, true},    // between
                                         LayoutCase{232, 10, 345.9, true, true},  // maxOffset is 348
                                         LayoutCase{232, 10, 346, true, false},   // at the bottom
                                         LayoutCase{232, 10, 348, true, false},   //
                                         LayoutCase{232, 4, 0, false, false},     // fits exactly
                                         LayoutCase{231, 4, 0, false, false},     // a point of rounding
                                         LayoutCase{230.9, 4, 0, false, false},  // overflows, but by less than a margin
                                         LayoutCase{229, 4, 0, false, true},     //
                                         LayoutCase{232, 0, 0, false, false},    // empty
                                         LayoutCase{-5, 3, 0, false, true},      // not laid out yet
                                         LayoutCase{0, 3, 100, true, true}));

TEST(TrackListScrollOffset, IsHowFarTheRowsHaveBeenMovedUp) {
  EXPECT_EQ(trackListScrollOffset(-120.5), 120.5);
  EXPECT_EQ(trackListScrollOffset(0), 0);
  EXPECT_EQ(trackListScrollOffset(30), 0) << "pulled down beyond the top";
}

TEST(TrackListContentHeight, IsThatOfAllRows) {
  EXPECT_EQ(trackListContentHeight(0), 0);
  EXPECT_EQ(trackListContentHeight(1), 58);
  EXPECT_EQ(trackListContentHeight(100000), 5800000);
}

}  // namespace
}  // namespace tolvane
