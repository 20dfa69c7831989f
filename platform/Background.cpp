#include "platform/Background.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>

namespace tolvane {

namespace {

constexpr int niceValue = 5;  // below playback, above the waveforms

}  // namespace

void runInLowPriorityThread(BackgroundWork work) {
  runInDetachedThread([work = std::move(work), asking = ::gettid()] {
    // On Linux a nice value applies only to the calling thread. If no thread can be created, it does not change.
    if (::gettid() != asking) setpriority(PRIO_PROCESS, 0, std::max(niceValue, getpriority(PRIO_PROCESS, 0)));
    work();
  });
}

}  // namespace tolvane
