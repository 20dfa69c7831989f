#include "platform/pipewire/record/ReportedAlteration.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

const std::string noReason;
const std::string quieter = "the sink's volume is 0.512 of its samples";

TEST(ReportedAlteration, IsNotifiedOnceAfterEachStartEvenWhereNothingIsAltered) {
  ReportedAlteration reported;
  EXPECT_TRUE(reported.mustNotify(noReason));
  reported.store(noReason);
  EXPECT_FALSE(reported.mustNotify(noReason));
  reported.reset();
  EXPECT_TRUE(reported.mustNotify(noReason));
}

TEST(ReportedAlteration, IsNotifiedWithEveryOtherReason) {
  ReportedAlteration reported;
  reported.store(noReason);
  EXPECT_TRUE(reported.mustNotify(quieter));
  reported.store(quieter);
  EXPECT_FALSE(reported.mustNotify(quieter));
  EXPECT_TRUE(reported.mustNotify("the sink is muted"));
  EXPECT_TRUE(reported.mustNotify(noReason));
}

TEST(ReportedAlteration, IsLoggedUnlessAStartFindsNothingAltered) {
  ReportedAlteration reported;
  EXPECT_FALSE(reported.mustLog(noReason));
  EXPECT_TRUE(reported.mustLog(quieter));
  reported.store(quieter);
  EXPECT_FALSE(reported.mustLog(quieter));
  EXPECT_TRUE(reported.mustLog(noReason));
  reported.reset();
  EXPECT_FALSE(reported.mustLog(noReason));
}

}  // namespace
}  // namespace tolvane
