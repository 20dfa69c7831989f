#include "platform/pipewire/record/ContestWatch.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using namespace std::chrono_literals;

constexpr RunLoop::TimePoint firstLook{10s};

TEST(ContestWatch, NotifiesOnceThatAnotherProgramHasComeAndOnceThatItHasGone) {
  ContestWatch watch;
  EXPECT_FALSE(watch.mustNotify(false, firstLook));
  EXPECT_FALSE(watch.mustNotify(true, firstLook + 1s));
  EXPECT_TRUE(watch.mustNotify(true, firstLook + 1500ms));
  EXPECT_FALSE(watch.mustNotify(true, firstLook + 2s));
  EXPECT_TRUE(watch.mustNotify(false, firstLook + 3s));
  EXPECT_FALSE(watch.mustNotify(false, firstLook + 4s));
}

TEST(ContestWatch, DoesNotTakeACardThatIsOpenedAnewForContested) {
  ContestWatch watch;
  EXPECT_FALSE(watch.mustNotify(true, firstLook));
  EXPECT_FALSE(watch.mustNotify(true, firstLook + 399ms));
  EXPECT_FALSE(watch.mustNotify(false, firstLook + 500ms));
  EXPECT_FALSE(watch.mustNotify(true, firstLook + 600ms));
  EXPECT_FALSE(watch.mustNotify(true, firstLook + 900ms));
  EXPECT_TRUE(watch.mustNotify(true, firstLook + 1s));
}

TEST(ContestWatch, ForgetsWhatItSawWhenTheMusicStops) {
  ContestWatch watch;
  EXPECT_FALSE(watch.mustNotify(true, firstLook));
  EXPECT_TRUE(watch.mustNotify(true, firstLook + 1s));
  watch.stopLooking();
  EXPECT_FALSE(watch.mustNotify(false, firstLook + 2s));
}

}  // namespace
}  // namespace tolvane
