#include "platform/pipewire/record/DeviceCondition.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace tolvane {
namespace {

using enum DeviceCondition;
using enum DeviceEvent;
using Changes = std::map<DeviceEvent, DeviceCondition>;

/// By where a device is; what is missing cannot happen there.
const std::map<DeviceCondition, Changes> expectedChanges{
    {gone, {{listedWithSink, shared}, {listedExpectingSink, expected}, {listedWithoutSink, withoutSink}}},
    {withoutSink,
     {{listedWithSink, shared},
      {listedWithoutSink, withoutSink},
      {unlisted, gone},
      {sinkExpected, expected},
      {cardTaken, taken}}},
    {expected,
     {{listedWithSink, shared},
      {listedWithoutSink, expected},
      {unlisted, gone},
      {sinkExpected, expected},
      {expectationEnded, withoutSink},
      {cardTaken, taken}}},
    {shared,
     {{listedWithSink, shared},
      {unlisted, gone},
      {sinkExpected, expected},
      {sinkRemoved, withoutSink},
      {cardTaken, taken}}},
    {taken,
     {{listedWithSink, taken},
      {listedWithoutSink, taken},
      {unlisted, pulled},
      {sinkExpected, taken},
      {sinkRemoved, taken},
      {cardTaken, taken},
      {returnedToSink, shared},
      {returnedExpectingSink, expected},
      {returnedWithoutSink, withoutSink},
      {driverHangs, returning},
      {takenByAnother, yielded}}},
    {returning,
     {{listedWithSink, returning},
      {listedWithoutSink, returning},
      {unlisted, gone},
      {sinkExpected, returning},
      {sinkRemoved, returning},
      {cardTaken, taken},
      {returnedToSink, shared},
      {returnedExpectingSink, expected},
      {returnedWithoutSink, withoutSink},
      {driverHangs, returning},
      {takenByAnother, yielded}}},
    {yielded, {{listedWithSink, shared}, {listedWithoutSink, yielded}, {unlisted, gone}, {cardTaken, taken}}},
    {pulled,
     {{listedWithSink, taken},
      {listedWithoutSink, taken},
      {returnedWithoutSink, gone},
      {driverHangs, gone},
      {takenByAnother, gone}}},
};

TEST(DeviceCondition, ChangesOnlyAsTheTableSays) {
  ASSERT_EQ(expectedChanges.size(), deviceConditionCount);
  std::size_t allowed = 0;
  for (const auto& [condition, changes] : expectedChanges) {
    for (std::size_t number = 0; number < deviceEventCount; ++number) {
      const auto event = static_cast<DeviceEvent>(number);
      SCOPED_TRACE(std::string(nameOf(condition)) + " and " + std::string(nameOf(event)));
      const auto change = changes.find(event);
      const auto after = conditionAfter(condition, event);
      ASSERT_EQ(after.has_value(), change != changes.end());
      if (!after) continue;
      EXPECT_EQ(*after, change->second);
      ++allowed;
    }
  }
  EXPECT_EQ(allowed, 50U);
}

TEST(DeviceCondition, AndItsEventsHaveNames) {
  EXPECT_EQ(nameOf(gone), "gone");
  EXPECT_EQ(nameOf(pulled), "pulled");
  EXPECT_EQ(nameOf(listedWithSink), "listedWithSink");
  EXPECT_EQ(nameOf(takenByAnother), "takenByAnother");
}

TEST(DeviceCondition, CanBeLeftFromEverywhereAndReachedFromGone) {
  std::map<DeviceCondition, bool> reached{{gone, true}};
  for (std::size_t round = 0; round < deviceConditionCount; ++round)
    for (const auto& [condition, changes] : expectedChanges)
      for (const auto& [event, after] : changes)
        if (reached[condition]) reached[after] = true;
  for (const auto& [condition, changes] : expectedChanges) {
    EXPECT_TRUE(reached[condition]) << nameOf(condition);
    EXPECT_FALSE(changes.empty()) << nameOf(condition);
  }
}

}  // namespace
}  // namespace tolvane
