#pragma once
// A thread with its own run loop, and an object on it: made there, used there, destroyed there. Made and ended by one
// other thread, under a QCoreApplication.

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/RunLoop.h"

namespace tolvane {

class RunLoopThread {
 public:
  /// Makes the thread's object. Called on the thread.
  using Make = std::function<std::shared_ptr<void>(RunLoop&)>;
  /// Called on the thread with the reason if the object could not be made; the thread then ends.
  using Failed = std::function<void(const std::string& reason)>;

  /// `name` has at most 15 bytes.
  RunLoopThread(const char* name, Make make, Failed failed);
  /// As end() without a limit, unless it has been ended.
  ~RunLoopThread();
  RunLoopThread(const RunLoopThread&) = delete;
  RunLoopThread& operator=(const RunLoopThread&) = delete;

  /// Ends the thread after everything that has been posted to its run loop, and waits for it. False: it hangs, and is
  /// abandoned with its object; the process should end without destroying what that refers to.
  [[nodiscard]] bool end(std::chrono::milliseconds limit);

 private:
  class Thread;
  std::unique_ptr<Thread> thread_;
};

}  // namespace tolvane
