#include "platform/pipewire/record/DeviceWay.h"

#include <gtest/gtest.h>

namespace tolvane {
namespace {

using Unit = DeviceWay::Unit;

constexpr bool booleans[] = {false, true};
constexpr Unit units[] = {Unit::none, Unit::onSink, Unit::onCard};

TEST(DeviceWay, IsTheOneOfTheTable) {
  const struct {
    const char* what;
    DeviceWay way;
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
  for (const auto& row : rows) EXPECT_EQ(leadsToCard(row.way), row.isCard) << row.what;
}

TEST(DeviceWay, NeverLeadsToACardThatThereIsNot) {
  for (const bool sink : booleans)
    for (const bool expected : booleans)
      for (const Unit unit : units)
        for (const bool ours : booleans) EXPECT_FALSE(leadsToCard({false, sink, expected, unit, ours}));
}

TEST(DeviceWay, IsTheUnitsForAsLongAsThereIsOne) {
  for (const bool sink : booleans)
    for (const bool expected : booleans)
      for (const bool ours : booleans) {
        EXPECT_TRUE(leadsToCard({true, sink, expected, Unit::onCard, ours}));
        EXPECT_FALSE(leadsToCard({true, sink, expected, Unit::onSink, ours}));
      }
}

TEST(OwnerTold, IsNobodyForAServerAndForOneWhoIsGivingTheCardASink) {
  constexpr std::int32_t nobody = -1;
  constexpr std::int32_t own = 100;
  constexpr std::int32_t other = 200;
  for (const bool expected : booleans) {
    EXPECT_EQ(ownerTold(nobody, own, false, expected), nobody);
    EXPECT_EQ(ownerTold(own, own, false, expected), own);
    EXPECT_EQ(ownerTold(other, own, true, expected), nobody);
  }
  EXPECT_EQ(ownerTold(other, own, false, false), other);
  EXPECT_EQ(ownerTold(other, own, false, true), nobody);
}

TEST(CardBefore, TellsWhetherASinkIsDueAfterwards) {
  EXPECT_TRUE(isSinkDue({.hadSink = true, .hadManager = true}, true)) << "it was the server's";
  EXPECT_TRUE(isSinkDue({.hadSink = true, .hadManager = true}, false)) << "and a manager may start again";
  EXPECT_TRUE(isSinkDue({.hadSink = false, .hadManager = false}, true)) << "the server came while it was ours";
  EXPECT_FALSE(isSinkDue({.hadSink = false, .hadManager = false}, false)) << "there is no server";
  EXPECT_FALSE(isSinkDue({.hadSink = false, .hadManager = true}, true)) << "the server has no use for the card";
}

}  // namespace
}  // namespace tolvane
