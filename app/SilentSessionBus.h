#pragma once
// A session bus that takes connections and never answers would block the start of the program for ever: libdbus waits
// for it without a limit. To be called on the main thread, before Qt or any other thread is started.

#include <chrono>

#include "platform/Log.h"

namespace tolvane {

/// Disconnects this process from a bus that does not answer in time, and logs it. A session without a bus is
/// unaffected.
void leaveSilentSessionBus(Log& log, std::chrono::milliseconds limit = std::chrono::seconds(3));

}  // namespace tolvane
