#include "platform/pipewire/record/DevicePath.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using Unit = DevicePath::Unit;

constexpr bool booleans[] = {false, true};
constexpr Unit units[] = {Unit::none, Unit::onSink, Unit::onCard};

TEST(DevicePath, IsTheOneOfTheTable) {
  const struct {
    const char* what;
    DevicePath path;
    bool isCard;
  } rows[] = {
      {"a card that the server plays on", {.hasCard = true, .hasSink = true}, false},
      {"a card without a server", {.hasCard = true}, true},
      {"a card whose sink will be back", {.hasCard = true, .isSinkExpected = true}, false},
      {"a card that is ours, its sink gone for that", {.hasCard = true, .isSinkExpected = true, .isOurs = true}, true},
      {"a card that is ours, its sink not gone yet", {.hasCard = true, .hasSink = true, .isOurs = true}, true},
      {"a unit plays through the sink", {.hasCard = true, .hasSink = true, .unit = Unit::onSink}, false},
      {"it does, and the card is being taken",
       {.hasCard = true, .hasSink = true, .unit = Unit::onSink, .isOurs = true},
       false},
      {"a unit plays over the card, and a server came", {.hasCard = true, .hasSink = true, .unit = Unit::onCard}, true},
      {"a headset", {.hasSink = true}, false},
      {"a headset that has gone", {}, false},
  };
  for (const auto& row : rows) EXPECT_EQ(isCardPath(row.path), row.isCard) << row.what;
}

TEST(DevicePath, NeverLeadsToACardThatThereIsNot) {
  for (const bool sink : booleans)
    for (const bool expected : booleans)
      for (const Unit unit : units)
        for (const bool ours : booleans) EXPECT_FALSE(isCardPath({false, sink, expected, unit, ours}));
}

TEST(DevicePath, IsTheUnitsForAsLongAsThereIsOne) {
  for (const bool sink : booleans)
    for (const bool expected : booleans)
      for (const bool ours : booleans) {
        EXPECT_TRUE(isCardPath({true, sink, expected, Unit::onCard, ours}));
        EXPECT_FALSE(isCardPath({true, sink, expected, Unit::onSink, ours}));
      }
}

TEST(ReportedOwner, IsNoneForAServerAndForAManagerThatIsMakingTheSinkOfTheCard) {
  constexpr std::int32_t none = -1;
  constexpr std::int32_t own = 100;
  constexpr std::int32_t other = 200;
  for (const bool expected : booleans) {
    EXPECT_EQ(reportedOwner(none, own, false, expected), none);
    EXPECT_EQ(reportedOwner(own, own, false, expected), own);
    EXPECT_EQ(reportedOwner(other, own, true, expected), none);
  }
  EXPECT_EQ(reportedOwner(other, own, false, false), other);
  EXPECT_EQ(reportedOwner(other, own, false, true), none);
}

TEST(CardBefore, SaysWhetherASinkIsDueAfterwards) {
  EXPECT_TRUE(isSinkDue({.hadSink = true, .hadManager = true}, true)) << "it was the server's";
  EXPECT_TRUE(isSinkDue({.hadSink = true, .hadManager = true}, false)) << "and a manager may start again";
  EXPECT_TRUE(isSinkDue({.hadSink = false, .hadManager = false}, true)) << "the server came while it was ours";
  EXPECT_FALSE(isSinkDue({.hadSink = false, .hadManager = false}, false)) << "there is no server";
  EXPECT_FALSE(isSinkDue({.hadSink = false, .hadManager = true}, true)) << "the server has no use for the card";
}

}  // namespace
}  // namespace tolvane
