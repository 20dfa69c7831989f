#include "ui/OutputAdjustmentSlider.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

constexpr double thumb = 14;
constexpr double width = 200 + thumb;  // 200 points to move in

/// A slider with its value, and a pointer on it.
struct Panel {
  OutputAdjustmentSlider slider;
  double value;
  double startX = 0;
  bool shift = false;

  void press(double x) {
    startX = x;
    move(x);
  }
  void move(double x) { value = slider.dragChanged(startX, x, width, value, shift); }
  void release() { slider.dragEnded(); }
};

Panel volume(double value) { return {{0, 1, 1, false, thumb}, value}; }
Panel balance(double value) { return {{-1, 1, 0, true, thumb}, value}; }

TEST(AdjustmentSlider, PutsItsThumbBetweenTheEnds) {
  EXPECT_EQ(volume(0).slider.thumbCentre(0, width), 7);
  EXPECT_EQ(volume(0).slider.thumbCentre(1, width), 207);
  EXPECT_EQ(balance(0).slider.thumbCentre(0, width), 107);
}

TEST(AdjustmentSlider, IsGrabbedWithoutAJumpOnTheThumbAndThreePointsBesideIt) {
  for (const double distance : {0.0, 7.0, -7.0, 9.0, -9.0, 10.0}) {
    auto panel = volume(0.5);
    panel.press(107 + distance);
    EXPECT_EQ(panel.value, 0.5) << distance;
  }
}

TEST(AdjustmentSlider, JumpsToAPressFurtherAway) {
  auto panel = volume(0.5);
  panel.press(107 + 7 + 4);
  EXPECT_DOUBLE_EQ(panel.value, 0.5 + 11.0 / 200);
  panel = balance(0);
  panel.press(7 + 50);
  EXPECT_DOUBLE_EQ(panel.value, -0.5);
}

TEST(AdjustmentSlider, JumpsNoFurtherThanItsEnds) {
  auto panel = volume(0.5);
  panel.press(0);
  EXPECT_EQ(panel.value, 0);
  panel = volume(0.5);
  panel.press(width);
  EXPECT_EQ(panel.value, 1);
}

TEST(AdjustmentSlider, NeverJumpsWithShift) {
  for (const double x : {0.0, 30.0, 190.0, width}) {
    auto panel = volume(0.5);
    panel.shift = true;
    panel.press(x);
    EXPECT_EQ(panel.value, 0.5) << x;
  }
}

TEST(AdjustmentSlider, FollowsThePointer) {
  auto panel = volume(0.5);
  panel.press(107);
  panel.move(147);
  EXPECT_DOUBLE_EQ(panel.value, 0.7);
  panel.move(87);
  EXPECT_DOUBLE_EQ(panel.value, 0.4);
}

TEST(AdjustmentSlider, FollowsATenthAsFastWithShift) {
  auto panel = volume(0.5);
  panel.shift = true;
  panel.press(50);
  panel.move(150);
  EXPECT_DOUBLE_EQ(panel.value, 0.55);
}

TEST(AdjustmentSlider, ChangesItsRateWithoutAJumpWhenShiftComesAndGoes) {
  auto panel = volume(0.5);
  panel.press(107);
  panel.move(127);
  panel.shift = true;
  panel.move(127);
  EXPECT_DOUBLE_EQ(panel.value, 0.6);
  panel.move(147);
  EXPECT_DOUBLE_EQ(panel.value, 0.61);
  panel.shift = false;
  panel.move(148);
  EXPECT_DOUBLE_EQ(panel.value, 0.615);
}

TEST(AdjustmentSlider, MovesAgainAtOnceWhenThePointerComesBackFromBeyondAnEnd) {
  auto panel = volume(0.9);
  panel.press(187);
  panel.move(500);
  EXPECT_EQ(panel.value, 1);
  panel.move(490);
  EXPECT_DOUBLE_EQ(panel.value, 0.95);
  auto low = volume(0.1);
  low.press(27);
  low.move(-300);
  EXPECT_EQ(low.value, 0);
  low.move(-290);
  EXPECT_DOUBLE_EQ(low.value, 0.05);
}

TEST(AdjustmentSlider, BeginsEachDragAfresh) {
  auto panel = volume(0.5);
  panel.press(107);
  panel.move(127);
  panel.release();
  panel.value = 0.2;  // changed elsewhere
  panel.press(47);
  EXPECT_DOUBLE_EQ(panel.value, 0.2);
}

TEST(AdjustmentSlider, StaysAsItIsWithoutRoomToMove) {
  auto panel = volume(0.5);
  for (const double narrow : {thumb, 3.0, 0.0}) {
    panel.value = panel.slider.dragChanged(0, 0, narrow, panel.value, false);
    panel.value = panel.slider.dragChanged(0, 50, narrow, panel.value, false);
    EXPECT_EQ(panel.value, 0.5) << narrow;
    panel.release();
  }
}

TEST(AdjustmentSlider, ArrivesExactlyAtItsEndsAndItsMiddle) {
  auto panel = volume(1);
  for (int step = 0; step < 100; ++step) panel.value = panel.slider.adjusted(panel.value, -1, false);
  EXPECT_EQ(panel.value, 0);
  for (int step = 0; step < 100; ++step) panel.value = panel.slider.adjusted(panel.value, 1, false);
  EXPECT_EQ(panel.value, 1);
  panel = balance(0.3);
  panel.press(137);
  for (int x = 136; x >= 107; --x) panel.move(x);
  EXPECT_EQ(panel.value, 0);
}

TEST(AdjustmentSlider, GoesAHundredthAStepAndAThousandthWithShift) {
  const auto slider = volume(0).slider;
  EXPECT_DOUBLE_EQ(slider.adjusted(0.5, 1, false), 0.51);
  EXPECT_DOUBLE_EQ(slider.adjusted(0.5, -1, false), 0.49);
  EXPECT_DOUBLE_EQ(slider.adjusted(0.5, 1, true), 0.501);
  EXPECT_EQ(slider.adjusted(0.995, 1, false), 1.0);
  EXPECT_EQ(slider.adjusted(0.005, -1, false), 0.0);
  EXPECT_EQ(balance(0).slider.adjusted(-1, -1, false), -1.0);
}

TEST(AdjustmentSlider, GoesFiveStepsANotchOfTheWheel) {
  const auto slider = volume(0).slider;
  EXPECT_DOUBLE_EQ(slider.turned(0.5, 1, false), 0.55);
  EXPECT_DOUBLE_EQ(slider.turned(0.5, -0.5, false), 0.475);
  EXPECT_DOUBLE_EQ(slider.turned(0.5, 1, true), 0.505);
  EXPECT_EQ(slider.turned(0.98, 1, false), 1.0);
}

}  // namespace
}  // namespace tolvane
