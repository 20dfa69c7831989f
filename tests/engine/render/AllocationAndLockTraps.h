#pragma once
// Counts the allocations and lock operations of one thread while a trap is set. The program's own malloc, free and
// pthread_mutex_lock (and their kin) count, then do what the C library's do.

#include <cstdint>

namespace tolvane::test {

/// While it lives, this thread's calls count. Not nested.
class AllocationAndLockTrap {
 public:
  AllocationAndLockTrap() noexcept;
  ~AllocationAndLockTrap();
  AllocationAndLockTrap(const AllocationAndLockTrap&) = delete;
  AllocationAndLockTrap& operator=(const AllocationAndLockTrap&) = delete;

  /// Since the trap was set: malloc, calloc, realloc, aligned_alloc, posix_memalign, free; operator new and delete end
  /// in these.
  [[nodiscard]] std::int64_t allocations() const noexcept;
  /// Since the trap was set: lock, try and unlock of mutexes, locking of read-write locks, signals of condition
  /// variables, posts and waits of semaphores.
  [[nodiscard]] std::int64_t locks() const noexcept;
};

}  // namespace tolvane::test
