#pragma once
// The contract of a thread's run loop: time, timers and calls into that thread. Everything here is for the thread that
// owns the loop (the player's, the window's), except post(). With the manual run loop (platform/simulated) time moves
// only when a test advances it.

#include <chrono>
#include <functional>
#include <memory>

namespace tolvane {

class RunLoop {
 public:
  using Duration = std::chrono::nanoseconds;
  /// Monotonic; its zero has no meaning. TimePoint::min() is the distant past.
  struct Clock {
    using rep = Duration::rep;
    using period = Duration::period;
    using duration = Duration;
    using time_point = std::chrono::time_point<Clock>;
    static constexpr bool is_steady = true;
  };
  using TimePoint = Clock::time_point;
  using Action = std::function<void()>;

  /// A pending timer or a watched descriptor: destroying it cancels it, also from within its own action.
  class Registration {
   public:
    virtual ~Registration() = default;
  };
  using Timer = std::unique_ptr<Registration>;
  using Watch = std::unique_ptr<Registration>;

  virtual ~RunLoop() = default;

  [[nodiscard]] virtual TimePoint now() const = 0;

  /// Negative intervals count as 0. A repeating timer that fell behind fires once, not once for each missed turn.
  [[nodiscard]] virtual Timer scheduleTimer(Duration interval, bool repeats, Action action) = 0;

  /// Any thread. Runs the action in a later turn of the loop's thread, in order of posting.
  virtual void post(Action action) = 0;

  /// Blocks the thread: for bounded waits on a device only. No timer or posted action runs meanwhile.
  virtual void sleepFor(Duration duration) = 0;

  /// Runs the action on the loop's thread each time the descriptor is readable or in error (level triggered).
  [[nodiscard]] virtual Watch watchDescriptor(int descriptor, Action action) = 0;
};

/// Seconds as a run loop duration; not-a-number becomes 0, and values beyond a century a century.
[[nodiscard]] RunLoop::Duration durationFromSeconds(double seconds);
[[nodiscard]] double secondsFromDuration(RunLoop::Duration duration);

}  // namespace tolvane
