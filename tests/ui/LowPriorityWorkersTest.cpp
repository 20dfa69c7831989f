#include "ui/LowPriorityWorkers.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <algorithm>
#include <future>
#include <latch>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace tolvane {
namespace {

using testing::ElementsAre;

TEST(LowPriorityWorkers, WorkOnAnotherThreadBehindEverybodyElse) {
  const int before = getpriority(PRIO_PROCESS, 0);
  LowPriorityWorkers workers;
  std::promise<std::pair<std::thread::id, int>> seen;
  workers.run([&] { seen.set_value({std::this_thread::get_id(), getpriority(PRIO_PROCESS, 0)}); });
  const auto [thread, niceness] = seen.get_future().get();
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_EQ(niceness, std::max(10, before));
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before) << "the main thread keeps its own";
}

TEST(LowPriorityWorkers, BeginWithWhatWasAskedForLast) {
  LowPriorityWorkers workers(1);
  std::latch begun(1);
  std::latch asked(1);
  std::latch done(3);
  std::vector<int> order;
  workers.run([&] {
    begun.count_down();
    asked.wait();
    done.count_down();
  });
  begun.wait();
  for (const int number : {1, 2}) {
    workers.run([&, number] {
      order.push_back(number);
      done.count_down();
    });
  }
  asked.count_down();
  done.wait();
  EXPECT_THAT(order, ElementsAre(2, 1));
}

TEST(LowPriorityWorkers, FinishWhatTheyHaveBegunAndDropTheRestWhenTheyGo) {
  std::optional<LowPriorityWorkers> workers(1);
  std::latch begun(1);
  std::promise<void> mayEnd;
  bool hasEnded = false;
  bool hasRunTheRest = false;
  workers->run([&, gate = mayEnd.get_future().share()] {
    begun.count_down();
    gate.wait();
    hasEnded = true;
  });
  begun.wait();
  // The first may end once the second has been dropped, and not before.
  const auto opener = [&](const void*) { mayEnd.set_value(); };
  workers->run([&hasRunTheRest, token = std::shared_ptr<const void>(&mayEnd, opener)] { hasRunTheRest = true; });
  workers.reset();
  EXPECT_TRUE(hasEnded);
  EXPECT_FALSE(hasRunTheRest);
}

}  // namespace
}  // namespace tolvane
