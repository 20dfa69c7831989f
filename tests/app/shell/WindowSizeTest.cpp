#include "app/shell/WindowSize.h"

#include <gmock/gmock.h>

#include <limits>

#include "app/shell/WindowResizer.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryUserDefaults.h"

namespace tolvane {
namespace {

using testing::IsEmpty;

constexpr std::string_view key = "SavedWindowSize";
constexpr WindowSize standard{600, 700};

TEST(SavedWindowSize, IsTheStandardOneWithoutARecord) {
  const MemoryUserDefaults defaults;
  EXPECT_EQ(loadSavedWindowSize(defaults), standard);
}

class BrokenRecords : public testing::TestWithParam<UserDefaults::Value> {};

TEST_P(BrokenRecords, YieldTheStandardSize) {
  MemoryUserDefaults defaults;
  defaults.setObject(key, GetParam());
  EXPECT_EQ(loadSavedWindowSize(defaults), standard);
}

INSTANTIATE_TEST_SUITE_P(All, BrokenRecords,
                         testing::Values(UserDefaults::Data(), UserDefaults::Data("{"),
                                         UserDefaults::Data(R"({"width":800})"),
                                         UserDefaults::Data(R"({"width":"800","height":900})"),
                                         UserDefaults::Data("[800,900]"),
                                         UserDefaults::Data(R"({"width":800,"height":null})"),
                                         UserDefaults::Data("\xFF\xFE"), UserDefaults::Value(800.0)));

TEST(SavedWindowSize, ComesBackAsItWasSaved) {
  MemoryUserDefaults defaults;
  save({812.5, 903}, defaults);
  EXPECT_EQ(loadSavedWindowSize(defaults), (WindowSize{812.5, 903}));
}

TEST(SavedWindowSize, LeavesNoRecordWhenItCannotBeWrittenDown) {
  MemoryUserDefaults defaults;
  save({800, 900}, defaults);
  save({std::numeric_limits<double>::quiet_NaN(), 900}, defaults);
  EXPECT_THAT(defaults.stored(), IsEmpty());
  save({800, std::numeric_limits<double>::infinity()}, defaults);
  EXPECT_THAT(defaults.stored(), IsEmpty());
}

class Resizer : public testing::Test {
 protected:
  void resizeTo(double width, double height) {
    frame = WindowSize{width, height};
    resizer->update();
    runLoop.runUntilIdle();
  }
  [[nodiscard]] bool hasSaved() const { return !defaults.writes().empty(); }

  ManualRunLoop runLoop;
  MemoryUserDefaults defaults;
  std::optional<WindowSize> frame;
  int timesSeen = 0;
  std::optional<WindowResizer> resizer{std::in_place, runLoop, defaults, [this] { return frame; },
                                       [this] { ++timesSeen; }};
};

TEST_F(Resizer, BeginsWithTheSavedSize) {
  save({800, 900}, defaults);
  resizer.emplace(
      runLoop, defaults, [this] { return frame; }, [this] { ++timesSeen; });
  EXPECT_EQ(resizer->size(), (WindowSize{800, 900}));
}

TEST_F(Resizer, TakesTheSizeOfANewWindowInALaterTurnAndSavesNothing) {
  frame = WindowSize{640, 720};
  resizer->make();
  EXPECT_EQ(resizer->size(), standard);
  runLoop.runUntilIdle();
  EXPECT_EQ(resizer->size(), (WindowSize{640, 720}));
  EXPECT_EQ(timesSeen, 1);
  EXPECT_FALSE(hasSaved());
}

TEST_F(Resizer, DoesNothingWithoutAWindow) {
  resizer->make();
  resizer->update();
  runLoop.runUntilIdle();
  EXPECT_EQ(timesSeen, 0);
  EXPECT_FALSE(hasSaved());
}

TEST_F(Resizer, TakesHalfAPointForRounding) {
  resizeTo(600.5, 699.5);
  EXPECT_FALSE(hasSaved());
  EXPECT_EQ(resizer->size(), standard);
  EXPECT_EQ(timesSeen, 1);
}

TEST_F(Resizer, TakesExactlyOnePointForRounding) {
  resizeTo(601, 701);
  EXPECT_FALSE(hasSaved());
}

TEST_F(Resizer, SavesAChangeOfTwoPointsInEitherDirection) {
  resizeTo(602, 700);
  EXPECT_EQ(loadSavedWindowSize(defaults), (WindowSize{602, 700}));
  resizeTo(602, 698);
  EXPECT_EQ(loadSavedWindowSize(defaults), (WindowSize{602, 698}));
}

TEST_F(Resizer, SeesTheWindowEachTime) {
  resizeTo(600, 700);
  resizeTo(600, 700);
  EXPECT_EQ(timesSeen, 2);
}

TEST_F(Resizer, ThatHasGoneLeavesItsPostedWorkUndone) {
  frame = WindowSize{900, 900};
  resizer->update();
  resizer.reset();
  runLoop.runUntilIdle();
  EXPECT_FALSE(hasSaved());
}

}  // namespace
}  // namespace tolvane
