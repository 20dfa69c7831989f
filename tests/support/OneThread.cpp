// Linked into tests that are not run under the thread sanitizer because they have one thread: a second one ends the
// program.

#include <pthread.h>

#include <cstdio>
#include <cstdlib>

// In the place of the system library's: all libraries of the program call this one.
extern "C" int pthread_create(pthread_t* /*thread*/, const pthread_attr_t* /*attributes*/, void* (* /*run*/)(void*),
                              void* /*argument*/) noexcept {
  std::fputs("A test that was declared to have one thread starts another: remove its ONE_THREAD.\n", stderr);
  std::abort();
}
