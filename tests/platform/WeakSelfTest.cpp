#include "platform/WeakSelf.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace tolvane {
namespace {

struct Counter {
  explicit Counter(int& count) : total(count) {}

  void add(int amount) { total += amount; }

  int& total;
  WeakSelf<Counter> self{this};
};

TEST(WeakSelf, CallsAMemberFunctionWithTheArguments) {
  int total = 0;
  const Counter counter(total);
  const std::function<void(int)> add = counter.self.bind(&Counter::add);
  add(2);
  add(3);
  EXPECT_EQ(total, 5);
}

TEST(WeakSelf, HandsItsOwnerToAnyOtherFunction) {
  int total = 0;
  const Counter counter(total);
  counter.self.bind([](Counter& owner) { owner.add(1); })();
  EXPECT_EQ(total, 1);
}

TEST(WeakSelf, DoesNothingOnceTheOwnerHasGone) {
  int total = 0;
  std::optional<Counter> counter(std::in_place, total);
  const auto add = counter->self.bind(&Counter::add);
  counter.reset();
  add(1);
  EXPECT_EQ(total, 0);
}

TEST(WeakSelf, LetsAnActionDestroyTheOwner) {
  int total = 0;
  std::optional<Counter> counter(std::in_place, total);
  const auto end = counter->self.bind([&counter](Counter&) { counter.reset(); });
  end();
  EXPECT_FALSE(counter);
  end();
}

}  // namespace
}  // namespace tolvane
