#include "platform/Background.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>

namespace tolvane {

namespace {

constexpr int niceValue = 5;  // behind what plays, before the waveforms

}  // namespace

void runInLowPriorityThread(BackgroundWork work) {
  runInDetachedThread([work = std::move(work), asking = ::gettid()] {
    // On Linux a nice value is the calling thread's alone. Without another thread to be had it stays as it is.
    if (::gettid() != asking) setpriority(PRIO_PROCESS, 0, std::max(niceValue, getpriority(PRIO_PROCESS, 0)));
    work();
  });
}

}  // namespace tolvane
