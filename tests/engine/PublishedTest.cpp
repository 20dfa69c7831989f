#include "engine/Published.h"

#include <gmock/gmock.h>

#include <optional>

namespace tolvane {
namespace {

using testing::ElementsAre;

TEST(Published, NotifiesOnlyOfRealChanges) {
  Published<int> number(1);
  std::vector<int> seen;
  const auto subscription = number.subscribe([&](int value) { seen.push_back(value); });
  EXPECT_FALSE(number.assign(1));
  EXPECT_TRUE(number.assign(2));
  EXPECT_FALSE(number.assign(2));
  EXPECT_TRUE(number.assign(1));
  EXPECT_THAT(seen, ElementsAre(2, 1));
}

TEST(Published, NotifiesNoObserverThatHasLeft) {
  Published<int> number(0);
  int calls = 0;
  auto subscription = number.subscribe([&](int) { ++calls; });
  subscription = Subscription();
  number.assign(1);
  EXPECT_EQ(calls, 0);
}

TEST(Published, MayBeLeftFromWithinANotification) {
  Published<int> number(0);
  int calls = 0;
  std::optional<Subscription> second;
  const auto first = number.subscribe([&](int) { second.reset(); });
  second = number.subscribe([&](int) { ++calls; });
  number.assign(1);
  EXPECT_EQ(calls, 0) << "an observer that unsubscribed before its turn is not called";
}

TEST(Published, MayBeOutlivedByItsObservers) {
  Subscription subscription;
  {
    Published<int> number(0);
    subscription = number.subscribe([](int) {});
  }
}

TEST(Published, MayBeAssignedFromWithinANotification) {
  Published<int> number(0);
  std::vector<int> seen;
  const auto subscription = number.subscribe([&](int value) {
    seen.push_back(value);
    if (value < 3) number.assign(value + 1);
  });
  number.assign(1);
  EXPECT_THAT(seen, ElementsAre(1, 2, 3));
}

TEST(Subscription, JoinsSeveralIntoOne) {
  Published<int> number(0);
  Published<bool> flag(false);
  int calls = 0;
  std::vector<Subscription> parts;
  parts.push_back(number.subscribe([&](int) { ++calls; }));
  parts.push_back(flag.subscribe([&](bool) { ++calls; }));
  {
    const auto joined = Subscription::joined(std::move(parts));
    number.assign(1);
    flag.assign(true);
    EXPECT_EQ(calls, 2);
  }
  number.assign(2);
  EXPECT_EQ(calls, 2);
}

}  // namespace
}  // namespace tolvane
