#include "ui/LowPriorityWorkers.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <future>
#include <iterator>
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
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before) << "the test's thread keeps its own";
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

TEST(LowPriorityWorkers, LeaveThreadsBehindThatHang) {
  using Clock = LowPriorityWorkers::Clock;
  std::atomic<Clock::time_point> now{Clock::time_point()};
  std::latch hanging(2);
  std::latch share(1);  // a dead one, until it comes back
  std::latch returned(2);
  LowPriorityWorkers workers(2, [&now] { return now.load(); });
  for (int file = 0; file < 2; ++file) {
    workers.run([&] {
      hanging.count_down();
      share.wait();
      returned.count_down();
    });
  }
  hanging.wait();
  std::promise<void> third;
  workers.run([&] { third.set_value(); });
  now = now.load() + LowPriorityWorkers::hangsAfter;
  std::promise<void> fourth;
  workers.run([&] { fourth.set_value(); });
  fourth.get_future().wait();
  third.get_future().wait();
  share.count_down();
  returned.wait();
}

TEST(LowPriorityWorkers, HaveNoThreadMoreWhileTheirsAreBusyForAMoment) {
  using Clock = LowPriorityWorkers::Clock;
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
  };
  std::atomic<Clock::time_point> now{Clock::time_point()};
  std::latch begun(1);
  std::latch mayEnd(1);
  LowPriorityWorkers workers(1, [&now] { return now.load(); });
  workers.run([&] {
    begun.count_down();
    mayEnd.wait();
  });
  begun.wait();
  now = now.load() + LowPriorityWorkers::hangsAfter - std::chrono::nanoseconds(1);
  const auto before = threads();
  workers.run([] {});
  EXPECT_LE(threads(), before);
  now = now.load() + std::chrono::nanoseconds(1);
  std::promise<void> replaced;
  workers.run([&] { replaced.set_value(); });
  replaced.get_future().wait();
  mayEnd.count_down();
}

TEST(LowPriorityWorkers, ServeWhatWaitsWhenAllHaveHungAndComeBack) {
  using Clock = LowPriorityWorkers::Clock;
  std::atomic<Clock::time_point> now{Clock::time_point()};
  std::latch share(1);
  LowPriorityWorkers workers(1, [&now] { return now.load(); });
  for (std::size_t thread = 0; thread < LowPriorityWorkers::mostThreads; ++thread) {
    std::promise<void> begun;
    workers.run([&] {
      begun.set_value();
      share.wait();
    });
    begun.get_future().wait();
    now = now.load() + LowPriorityWorkers::hangsAfter;
  }
  std::promise<void> served;
  workers.run([&] { served.set_value(); });
  share.count_down();
  served.get_future().wait();
}

}  // namespace
}  // namespace tolvane
