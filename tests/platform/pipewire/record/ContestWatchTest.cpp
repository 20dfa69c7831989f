#include "platform/pipewire/record/ContestWatch.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using namespace std::chrono_literals;

constexpr RunLoop::TimePoint firstLook{10s};

TEST(ContestWatch, TellsOnceThatAnotherProgramHasComeAndOnceThatItHasGone) {
  ContestWatch watch;
  EXPECT_FALSE(watch.isNews(false, firstLook));
  EXPECT_FALSE(watch.isNews(true, firstLook + 1s));
  EXPECT_TRUE(watch.isNews(true, firstLook + 1500ms));
  EXPECT_FALSE(watch.isNews(true, firstLook + 2s));
  EXPECT_TRUE(watch.isNews(false, firstLook + 3s));
  EXPECT_FALSE(watch.isNews(false, firstLook + 4s));
}

TEST(ContestWatch, DoesNotTakeACardThatIsOpenedAnewForContested) {
  ContestWatch watch;
  EXPECT_FALSE(watch.isNews(true, firstLook));
  EXPECT_FALSE(watch.isNews(true, firstLook + 399ms));
  EXPECT_FALSE(watch.isNews(false, firstLook + 500ms));
  EXPECT_FALSE(watch.isNews(true, firstLook + 600ms));
  EXPECT_FALSE(watch.isNews(true, firstLook + 900ms));
  EXPECT_TRUE(watch.isNews(true, firstLook + 1s));
}

TEST(ContestWatch, ForgetsWhatItSawWhenTheMusicStops) {
  ContestWatch watch;
  EXPECT_FALSE(watch.isNews(true, firstLook));
  EXPECT_TRUE(watch.isNews(true, firstLook + 1s));
  watch.stopLooking();
  EXPECT_FALSE(watch.isNews(false, firstLook + 2s));
}

}  // namespace
}  // namespace tolvane
