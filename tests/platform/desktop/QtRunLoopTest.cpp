#include "platform/desktop/QtRunLoop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <thread>
#include <vector>

#include "platform/desktop/HeadlessRunLoop.h"

namespace tolvane {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;

/// The two ends of a pipe.
struct Pipe {
  Pipe() { EXPECT_EQ(::pipe2(ends.data(), O_NONBLOCK | O_CLOEXEC), 0); }
  ~Pipe() {
    ::close(ends[0]);
    closeWriter();
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  void write() const { EXPECT_EQ(::write(ends[1], "x", 1), 1); }
  void read() const {
    char byte = 0;
    EXPECT_EQ(::read(ends[0], &byte, 1), 1);
  }
  void closeWriter() {
    if (ends[1] >= 0) ::close(ends[1]);
    ends[1] = -1;
  }

  std::array<int, 2> ends{-1, -1};
};

/// Every test runs the loop until it quits: an event that never happens makes the test time out.
class DesktopRunLoop : public testing::Test {
 protected:
  void quit() { loop.quit(0); }
  int run() { return loop.run(); }

  HeadlessRunLoop loop;
  std::vector<int> events;
};

TEST_F(DesktopRunLoop, ReturnsTheExitCodeAlsoWhenQuitCameBefore) {
  loop.quit(3);
  EXPECT_EQ(run(), 3);
}

TEST_F(DesktopRunLoop, RunsPostedActionsInOrderAndNotAtOnce) {
  loop.post([&] { events.push_back(1); });
  loop.post([&] {
    events.push_back(2);
    loop.post([&] {
      events.push_back(4);
      quit();
    });
    events.push_back(3);
  });
  EXPECT_TRUE(events.empty());
  run();
  EXPECT_THAT(events, ElementsAre(1, 2, 3, 4));
}

TEST_F(DesktopRunLoop, TakesActionsFromOtherThreadsAndRunsThemOnTheMainThread) {
  std::thread::id where;
  std::thread([&] {
    loop.post([&] {
      where = std::this_thread::get_id();
      quit();
    });
  }).join();
  run();
  EXPECT_EQ(where, std::this_thread::get_id());
}

TEST_F(DesktopRunLoop, AOneShotTimerFiresOnceAndNeverEarly) {
  const auto begin = loop.now();
  RunLoop::Duration waited{};
  const auto once = loop.scheduleTimer(milliseconds(3), false, [&] {
    events.push_back(1);
    waited = loop.now() - begin;
  });
  const auto later = loop.scheduleTimer(milliseconds(20), false, [&] { quit(); });
  run();
  EXPECT_THAT(events, ElementsAre(1));
  EXPECT_GE(waited, milliseconds(3));
}

TEST_F(DesktopRunLoop, TimersFireInOrderOfTheirTime) {
  std::vector<RunLoop::Timer> timers;
  timers.push_back(loop.scheduleTimer(milliseconds(30), false, [&] { events.push_back(3), quit(); }));
  timers.push_back(loop.scheduleTimer(milliseconds(15), false, [&] { events.push_back(2); }));
  timers.push_back(loop.scheduleTimer(milliseconds(-5), false, [&] { events.push_back(1); }));
  run();
  EXPECT_THAT(events, ElementsAre(1, 2, 3));
}

TEST_F(DesktopRunLoop, ARepeatingTimerMayEndItselfInItsOwnAction) {
  RunLoop::Timer timer;
  timer = loop.scheduleTimer(milliseconds(1), true, [&] {
    events.push_back(1);
    if (events.size() < 3) return;
    timer.reset();
    quit();
  });
  run();
  EXPECT_THAT(events, ElementsAre(1, 1, 1));
}

TEST_F(DesktopRunLoop, AOneShotTimerMayBeReplacedInItsOwnAction) {
  RunLoop::Timer timer;
  timer = loop.scheduleTimer(milliseconds(1), false, [&] {
    events.push_back(1);
    timer = loop.scheduleTimer(milliseconds(1), false, [&] {
      events.push_back(2);
      quit();
    });
  });
  run();
  EXPECT_THAT(events, ElementsAre(1, 2));
}

TEST_F(DesktopRunLoop, DestroyingAFiredTimerEndsNoOtherTimer) {
  // Qt gives the number of a timer that has fired to the next one.
  RunLoop::Timer fired;
  RunLoop::Timer next;
  fired = loop.scheduleTimer(milliseconds(1), false, [&] {
    next = loop.scheduleTimer(milliseconds(1), false, [&] {
      events.push_back(1);
      quit();
    });
    loop.post([&] { fired.reset(); });
  });
  run();
  EXPECT_THAT(events, ElementsAre(1));
}

TEST_F(DesktopRunLoop, ATimerThatIsDestroyedNeverFires) {
  auto timer = loop.scheduleTimer(milliseconds(1), false, [&] { events.push_back(1); });
  timer.reset();
  const auto later = loop.scheduleTimer(milliseconds(10), false, [&] { quit(); });
  run();
  EXPECT_TRUE(events.empty());
}

TEST_F(DesktopRunLoop, AWatchedDescriptorIsReportedAsLongAsItIsReadable) {
  const Pipe pipe;
  pipe.write();
  const auto watch = loop.watchDescriptor(pipe.ends[0], [&] {
    events.push_back(1);
    if (events.size() < 3) return;
    pipe.read();
    quit();
  });
  run();
  EXPECT_THAT(events, ElementsAre(1, 1, 1));
}

TEST_F(DesktopRunLoop, ADescriptorWhoseOtherEndHasGoneIsReportedToo) {
  Pipe pipe;
  RunLoop::Timer watch;
  watch = loop.watchDescriptor(pipe.ends[0], [&] {
    events.push_back(1);
    watch.reset();
    quit();
  });
  pipe.closeWriter();
  run();
  EXPECT_THAT(events, ElementsAre(1));
}

TEST_F(DesktopRunLoop, AWatchMayEndItselfInItsOwnActionAndIsNotCalledAgain) {
  const Pipe pipe;
  pipe.write();
  RunLoop::Timer watch;
  watch = loop.watchDescriptor(pipe.ends[0], [&] {
    events.push_back(1);
    watch.reset();
  });
  const auto later = loop.scheduleTimer(milliseconds(10), false, [&] { quit(); });
  run();
  EXPECT_THAT(events, ElementsAre(1));
}

TEST_F(DesktopRunLoop, SleepingLetsTimePassAndRunsNothing) {
  const auto begin = loop.now();
  loop.post([&] { events.push_back(1); });
  loop.sleepFor(milliseconds(5));
  EXPECT_GE(loop.now() - begin, milliseconds(5));
  EXPECT_TRUE(events.empty());
  loop.sleepFor(milliseconds(-5));
}

TEST(DesktopRunLoopLifetime, RegistrationsMayOutliveTheLoop) {
  const Pipe pipe;
  RunLoop::Timer timer;
  RunLoop::Timer watch;
  {
    HeadlessRunLoop loop;
    timer = loop.scheduleTimer(milliseconds(1), true, [] { FAIL(); });
    watch = loop.watchDescriptor(pipe.ends[0], [] { FAIL(); });
    loop.post([] { FAIL(); });
  }
  timer.reset();
  watch.reset();
}

}  // namespace
}  // namespace tolvane
