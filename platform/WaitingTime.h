#pragma once
// Time and timed waits for threads without a run loop. Any thread. Tests have an implementation that they advance.

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace tolvane {

class WaitingTime {
 public:
  using Clock = std::chrono::steady_clock;

  virtual ~WaitingTime() = default;
  [[nodiscard]] virtual Clock::time_point now() const = 0;
  /// Returns when `changed` is notified or at `end`; may return spuriously.
  virtual void waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                         Clock::time_point end) const = 0;
};

/// The system's monotonic clock.
class SteadyWaitingTime final : public WaitingTime {
 public:
  [[nodiscard]] Clock::time_point now() const override { return Clock::now(); }
  void waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                 Clock::time_point end) const override {
    changed.wait_until(lock, end);
  }
};

}  // namespace tolvane
