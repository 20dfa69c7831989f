#pragma once
// Runs work that may wait, or may never return, away from the thread that requests it. The work must own what it uses,
// because it may outlive the object that requested it.

#include <functional>
#include <system_error>
#include <thread>
#include <utility>

namespace tolvane {

using BackgroundWork = std::function<void()>;
/// Runs the work once: on another thread, at another time, or before it returns.
using Background = std::function<void(BackgroundWork)>;

inline void runAtOnce(const BackgroundWork& work) { work(); }

/// A file on a dead network share may block its reader for ever: the thread is abandoned, never joined.
inline void runInDetachedThread(BackgroundWork work) {
  try {
    std::thread(work).detach();
  } catch (const std::system_error&) {
    work();  // no thread could be created: run it here
  }
}

/// As runInDetachedThread, for work that must not compete with what the user waits for. Threads that the work starts
/// inherit its priority.
void runInLowPriorityThread(BackgroundWork work);

}  // namespace tolvane
