#pragma once
// Time, and waiting for it, of threads that have no run loop. Any thread. Tests have one that they move themselves.

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
  /// Returns once `changed` has been notified or `end` has come; may return for no reason.
  virtual void waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                         Clock::time_point end) const = 0;
};

/// The machine's own.
class SteadyWaitingTime final : public WaitingTime {
 public:
  [[nodiscard]] Clock::time_point now() const override { return Clock::now(); }
  void waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                 Clock::time_point end) const override {
    changed.wait_until(lock, end);
  }
};

}  // namespace tolvane
