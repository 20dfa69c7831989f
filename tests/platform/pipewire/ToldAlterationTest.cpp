#include "platform/pipewire/ToldAlteration.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

const std::string none;
const std::string quieter = "the sink's volume is 0.512 of its samples";

TEST(ToldAlteration, isNewsOnceAfterEachStartEvenWhereNothingIsAltered) {
  ToldAlteration told;
  EXPECT_TRUE(told.isNews(none));
  told.tell(none);
  EXPECT_FALSE(told.isNews(none));
  told.reset();
  EXPECT_TRUE(told.isNews(none));
}

TEST(ToldAlteration, isNewsWithEveryOtherReason) {
  ToldAlteration told;
  told.tell(none);
  EXPECT_TRUE(told.isNews(quieter));
  told.tell(quieter);
  EXPECT_FALSE(told.isNews(quieter));
  EXPECT_TRUE(told.isNews("the sink is muted"));
  EXPECT_TRUE(told.isNews(none));
}

TEST(ToldAlteration, isWorthALineUnlessAStartFindsNothingAltered) {
  ToldAlteration told;
  EXPECT_FALSE(told.isWorthALine(none));
  EXPECT_TRUE(told.isWorthALine(quieter));
  told.tell(quieter);
  EXPECT_FALSE(told.isWorthALine(quieter));
  EXPECT_TRUE(told.isWorthALine(none));
  told.reset();
  EXPECT_FALSE(told.isWorthALine(none));
}

}  // namespace
}  // namespace tolvane
