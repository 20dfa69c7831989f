#pragma once
// A few threads for work that may wait: playback and the window take precedence. The latest work is done first, because
// it belongs to what the user is looking at. Window's thread, except for the work itself.

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
  /// Drops work that has not begun, and waits briefly for the rest. A thread that hangs in a dead network share is
  /// abandoned: its work must own what it uses.
  ~LowPriorityWorkers();

  /// Also checks for hanging threads: scrolling on requests new work.
  void run(Work work);

 private:
  struct Queue;
  const std::function<Clock::time_point()> now_;
  std::shared_ptr<Queue> queue_;
};

}  // namespace tolvane
