#include "platform/pipewire/record/ToldAlteration.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

const std::string noReason;
const std::string quieter = "the sink's volume is 0.512 of its samples";

TEST(ToldAlteration, IsNewsOnceAfterEachStartEvenWhereNothingIsAltered) {
  ToldAlteration told;
  EXPECT_TRUE(told.isNews(noReason));
  told.tell(noReason);
  EXPECT_FALSE(told.isNews(noReason));
  told.reset();
  EXPECT_TRUE(told.isNews(noReason));
}

TEST(ToldAlteration, IsNewsWithEveryOtherReason) {
  ToldAlteration told;
  told.tell(noReason);
  EXPECT_TRUE(told.isNews(quieter));
  told.tell(quieter);
  EXPECT_FALSE(told.isNews(quieter));
  EXPECT_TRUE(told.isNews("the sink is muted"));
  EXPECT_TRUE(told.isNews(noReason));
}

TEST(ToldAlteration, IsWorthALineUnlessAStartFindsNothingAltered) {
  ToldAlteration told;
  EXPECT_FALSE(told.isWorthALine(noReason));
  EXPECT_TRUE(told.isWorthALine(quieter));
  told.tell(quieter);
  EXPECT_FALSE(told.isWorthALine(quieter));
  EXPECT_TRUE(told.isWorthALine(noReason));
  told.reset();
  EXPECT_FALSE(told.isWorthALine(noReason));
}

}  // namespace
}  // namespace tolvane
