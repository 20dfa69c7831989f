#pragma once
// Where work that may wait, or may never return, is done: apart from the thread that asks for it. The work must own
// what it uses, because it may outlive the object that asked.

#include <functional>
#include <system_error>
#include <thread>
#include <utility>

namespace tolvane {

using BackgroundWork = std::function<void()>;
/// Runs the work once: on another thread, at another time, or before it returns.
using Background = std::function<void(BackgroundWork)>;

inline void runAtOnce(const BackgroundWork& work) { work(); }

/// A file on a dead network share may hold its reader for ever: the thread is left behind, never joined.
inline void runInDetachedThread(BackgroundWork work) {
  try {
    std::thread(work).detach();
  } catch (const std::system_error&) {
    work();  // no thread to be had: better late than never
  }
}

/// As runInDetachedThread, for work that leaves the cores to what the listener waits for. Threads that the work starts
/// have its priority.
void runInLowPriorityThread(BackgroundWork work);

}  // namespace tolvane
