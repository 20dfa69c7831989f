#pragma once
// A few threads for work that may wait: the music and the window come first. What was handed in last is done first,
// because it is what the listener looks at. Main thread, but for the work itself.

#include <functional>
#include <memory>

namespace tolvane {

class LowPriorityWorkers {
 public:
  using Work = std::function<void()>;

  explicit LowPriorityWorkers(unsigned threads = 2);
  LowPriorityWorkers(const LowPriorityWorkers&) = delete;
  LowPriorityWorkers& operator=(const LowPriorityWorkers&) = delete;
  /// Drops what has not begun, and waits a moment for the rest. A thread that hangs in a dead network share is left
  /// behind: its work must own what it uses.
  ~LowPriorityWorkers();

  void run(Work work);

 private:
  struct Queue;
  std::shared_ptr<Queue> queue_;
  unsigned idleCapacity_;  // threads that may still be started
};

}  // namespace tolvane
