#pragma once
// A thread with a run loop of its own, and what lives on it: made there, used there, destroyed there. Made and ended by
// one other thread, under a QCoreApplication.

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/RunLoop.h"

namespace tolvane {

class RunLoopThread {
 public:
  /// Makes what is to live on the thread. Called there.
  using Make = std::function<std::shared_ptr<void>(RunLoop&)>;
  /// Told on the thread why nothing could be made; it ends then.
  using Failed = std::function<void(const std::string& reason)>;

  /// `name` has at most 15 bytes.
  RunLoopThread(const char* name, Make make, Failed failed);
  /// As end() without a limit, unless it has been ended.
  ~RunLoopThread();
  RunLoopThread(const RunLoopThread&) = delete;
  RunLoopThread& operator=(const RunLoopThread&) = delete;

  /// Ends the thread after what has been posted to its run loop, and waits for it. False: it hangs, and is left behind
  /// with all that lives on it; the process should end without destroying what it refers to.
  [[nodiscard]] bool end(std::chrono::milliseconds limit);

 private:
  class Thread;
  std::unique_ptr<Thread> thread_;
};

}  // namespace tolvane
