// render() neither allocates nor locks.

#include <gtest/gtest.h>
#include <semaphore.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <thread>

#include "tests/engine/render/AllocationAndLockTraps.h"
#include "tests/engine/render/RenderDrill.h"

namespace tolvane::test {
namespace {

/// What `action` allocated and locked.
template <class Action>
std::pair<std::int64_t, std::int64_t> trapped(const Action& action) {
  const AllocationAndLockTrap trap;
  action();
  return {trap.allocations(), trap.locks()};
}

/// Keeps the compiler from seeing that an allocation is not needed.
void use(const void* memory) { asm volatile("" : : "r"(memory) : "memory"); }

TEST(RenderTraps, RenderingNeitherAllocatesNorLocks) {
  RenderDrill drill;
  int wrong = -1;
  const auto [allocations, locks] = trapped([&] { wrong = drill.run(); });
  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(locks, 0);
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(drill.cycles(), 5000);
}

TEST(RenderTraps, RenderingOnAThreadOfItsOwnNeitherAllocatesNorLocks) {
  RenderDrill drill;
  int wrong = -1;
  std::pair<std::int64_t, std::int64_t> seen{-1, -1};
  std::thread([&] { seen = trapped([&] { wrong = drill.run(); }); }).join();
  EXPECT_EQ(seen, (std::pair<std::int64_t, std::int64_t>{0, 0}));
  EXPECT_EQ(wrong, 0);
}

TEST(RenderTraps, TheTrapCountsEveryKindOfAllocation) {
  EXPECT_EQ(trapped([] { use(std::make_unique<int>(1).get()); }).first, 2) << "new and delete";
  EXPECT_EQ(trapped([] { use(std::string(100, 'x').data()); }).first, 2);
  EXPECT_EQ(trapped([] { use(PcmBlock(10000).data()); }).first, 2) << "aligned";
  EXPECT_EQ(trapped([] {
              void* memory = std::calloc(1, 8);
              use(memory);
              memory = std::realloc(memory, 1000);
              use(memory);
              std::free(memory);
            }).first,
            3);
  EXPECT_EQ(trapped([] {}).first, 0);
}

TEST(RenderTraps, TheTrapCountsEveryKindOfLock) {
  std::mutex mutex;
  EXPECT_EQ(trapped([&] { const std::lock_guard lock(mutex); }).second, 2) << "lock and unlock";
  std::shared_mutex sharedMutex;
  EXPECT_EQ(trapped([&] { const std::shared_lock lock(sharedMutex); }).second, 1);
  sem_t semaphore;
  ASSERT_EQ(sem_init(&semaphore, 0, 0), 0);
  EXPECT_EQ(trapped([&] { sem_post(&semaphore); }).second, 1);
  sem_destroy(&semaphore);
  EXPECT_EQ(trapped([] {}).second, 0);
}

}  // namespace
}  // namespace tolvane::test
