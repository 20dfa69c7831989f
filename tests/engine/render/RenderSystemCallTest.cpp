// render() makes no system call: the kernel would kill the process that does.

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "tests/engine/render/RenderDrill.h"
#include "tests/engine/render/SystemCallTrap.h"

namespace tolvane::test {
namespace {

constexpr TrappedOutcome kCameToItsEnd{false, 0};
constexpr TrappedOutcome kWasKilled{true, -1};

TEST(RenderSystemCalls, RenderingMakesNone) {
  RenderDrill drill;
  const auto runTwice = [](void* argument) {
    auto& theDrill = *static_cast<RenderDrill*>(argument);
    const int wrong = theDrill.run() + theDrill.run();
    return wrong == 0 && theDrill.cycles() > 10000 ? 0 : 1;
  };
  EXPECT_EQ(runWithoutSystemCalls(runTwice, &drill), kCameToItsEnd);
}

TEST(RenderSystemCalls, CodeThatMakesNoneComesToItsEndUnderTheTrap) {
  EXPECT_EQ(runWithoutSystemCalls([](void*) { return 0; }, nullptr), kCameToItsEnd);
  EXPECT_EQ(runWithoutSystemCalls([](void*) { return 7; }, nullptr), (TrappedOutcome{false, 7}));
}

TEST(RenderSystemCalls, TheTrapKillsCodeThatMakesOne) {
  const struct {
    const char* what;
    int (*code)(void*);
  } violations[] = {
      {"asks for its process id", [](void*) { return static_cast<int>(syscall(SYS_getpid)) & 1; }},
      {"allocates a large block",
       [](void*) {
         void* const block = std::malloc(std::size_t{64} << 20);
         asm volatile("" : : "r"(block) : "memory");
         return block != nullptr ? 0 : 1;
       }},
      {"writes to standard error", [](void*) { return std::fputs("heard\n", stderr) < 0 ? 1 : 0; }},
      {"sleeps",
       [](void*) {
         const timespec moment{0, 1};
         return nanosleep(&moment, nullptr) & 1;
       }},
      {"yields", [](void*) { return static_cast<int>(syscall(SYS_sched_yield)) & 1; }},
  };
  for (const auto& [what, code] : violations) EXPECT_EQ(runWithoutSystemCalls(code, nullptr), kWasKilled) << what;
}

}  // namespace
}  // namespace tolvane::test
