#pragma once
// A few threads for work that may wait: the music and the window come first. What was handed in last is done first,
// because it is what the listener looks at. Window's thread, but for the work itself.

#include <chrono>
#include <functional>
#include <memory>

namespace tolvane {

class LowPriorityWorkers {
 public:
  using Work = std::function<void()>;
  using Clock = std::chrono::steady_clock;

  /// After this a thread counts as hanging, and another one takes its place: until its work returns after all, or
  /// until as many as mostThreads are there.
  static constexpr Clock::duration hangsAfter = std::chrono::seconds(10);
  static constexpr std::size_t mostThreads = 16;

  explicit LowPriorityWorkers(unsigned threads = 2, std::function<Clock::time_point()> now = Clock::now);
  LowPriorityWorkers(const LowPriorityWorkers&) = delete;
  LowPriorityWorkers& operator=(const LowPriorityWorkers&) = delete;
  /// Drops what has not begun, and waits a moment for the rest. A thread that hangs in a dead network share is left
  /// behind: its work must own what it uses.
  ~LowPriorityWorkers();

  /// Also looks whether threads hang: whoever scrolls on asks again.
  void run(Work work);

 private:
  struct Queue;
  const std::function<Clock::time_point()> now_;
  std::shared_ptr<Queue> queue_;
};

}  // namespace tolvane
