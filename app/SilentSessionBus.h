#pragma once
// A session bus that takes connections and never answers would hold the start of the program for good: libdbus waits
// for it without a limit. To be called on the main thread, before Qt is there and any other thread.

#include <chrono>

#include "platform/Log.h"

namespace tolvane {

/// Disconnects this process from a bus that does not answer in time, and logs it. A session without a bus is
/// unaffected.
void leaveSilentSessionBus(Log& log, std::chrono::milliseconds limit = std::chrono::seconds(3));

}  // namespace tolvane
