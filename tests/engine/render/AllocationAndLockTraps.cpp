#include "tests/engine/render/AllocationAndLockTraps.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>

#include <cerrno>
#include <cstdlib>

namespace {

struct Counts {
  bool armed = false;
  std::int64_t allocations = 0;
  std::int64_t locks = 0;
};

// Initialised without a constructor call, so that counting allocates nothing itself.
constinit thread_local Counts counts;

void countAllocation() noexcept {
  if (counts.armed) ++counts.allocations;
}

void countLock() noexcept {
  if (counts.armed) ++counts.locks;
}

/// The C library's own function of this name.
template <class Function>
Function* original(const char* name) noexcept {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

// The C library's allocator under the names that it keeps for interposers.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) noexcept {
  countAllocation();
  return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
  countAllocation();
  return __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
  countAllocation();
  return __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  countAllocation();
  return __libc_memalign(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept {
  countAllocation();
  return __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
  countAllocation();
  *memory = __libc_memalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}

void free(void* memory) noexcept {
  countAllocation();
  __libc_free(memory);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  static const auto function = original<int(pthread_mutex_t*)>("pthread_mutex_lock");
  countLock();
  return function(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
  static const auto function = original<int(pthread_mutex_t*)>("pthread_mutex_trylock");
  countLock();
  return function(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  static const auto function = original<int(pthread_mutex_t*)>("pthread_mutex_unlock");
  countLock();
  return function(mutex);
}

int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
  static const auto function = original<int(pthread_rwlock_t*)>("pthread_rwlock_rdlock");
  countLock();
  return function(lock);
}

int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
  static const auto function = original<int(pthread_rwlock_t*)>("pthread_rwlock_wrlock");
  countLock();
  return function(lock);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
  static const auto function = original<int(pthread_cond_t*)>("pthread_cond_signal");
  countLock();
  return function(condition);
}

int sem_post(sem_t* semaphore) noexcept {
  static const auto function = original<int(sem_t*)>("sem_post");
  countLock();
  return function(semaphore);
}

int sem_wait(sem_t* semaphore) {
  static const auto function = original<int(sem_t*)>("sem_wait");
  countLock();
  return function(semaphore);
}

}  // extern "C"

namespace tolvane::test {

AllocationAndLockTrap::AllocationAndLockTrap() noexcept { counts = {true, 0, 0}; }
AllocationAndLockTrap::~AllocationAndLockTrap() { counts.armed = false; }
std::int64_t AllocationAndLockTrap::allocations() const noexcept { return counts.allocations; }
std::int64_t AllocationAndLockTrap::locks() const noexcept { return counts.locks; }

}  // namespace tolvane::test
