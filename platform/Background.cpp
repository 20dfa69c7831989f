#include "platform/Background.h"

#include <sys/resource.h>

#include <algorithm>

namespace tolvane {

namespace {

constexpr int niceValue = 5;  // behind what plays, before the waveforms

}  // namespace

void runInLowPriorityThread(BackgroundWork work) {
  runInDetachedThread([work = std::move(work)] {
    // On Linux a nice value is the calling thread's alone.
    setpriority(PRIO_PROCESS, 0, std::max(niceValue, getpriority(PRIO_PROCESS, 0)));
    work();
  });
}

}  // namespace tolvane
