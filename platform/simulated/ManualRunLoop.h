#pragma once
// A run loop whose time moves only when a test advances it: thirty seconds of supervision run in a millisecond. For one
// thread, except post(). Simulated hardware has its own queue, because hardware continues while that thread sleeps.
// Never waits for real time; throws std::logic_error if actions keep it busy for ever.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <vector>

#include "platform/RunLoop.h"

namespace tolvane {

class ManualRunLoop final : public RunLoop {
 public:
  /// A moment at which a piece of simulated hardware acts; can be set again and again without allocating.
  class HardwareAlarm {
   public:
    virtual ~HardwareAlarm() = default;
    /// Replaces the moment that was set. A moment in the past means now.
    virtual void set(TimePoint when) = 0;
    virtual void clear() = 0;
  };

  ManualRunLoop();
  ~ManualRunLoop() override;

  [[nodiscard]] TimePoint now() const override { return TimePoint(Duration(now_.load(std::memory_order_relaxed))); }
  /// Repeating timers come at least a millisecond apart, so that an interval of 0 cannot stop time.
  [[nodiscard]] Timer scheduleTimer(Duration interval, bool repeats, Action action) override;
  void post(Action action) override;
  void sleepFor(Duration duration) override;
  [[nodiscard]] Watch watchDescriptor(int descriptor, Action action) override;

  /// Moves time on, running what falls due meanwhile in order of time, then of request. Hardware that is due at the
  /// same moment acts first. May be called from within an action.
  void advance(Duration duration);

  /// Runs everything that is due now, and what follows from it; time stands still.
  void runUntilIdle() { advance(Duration::zero()); }

  /// Advances from event to event until the condition holds; false when `limit` passed before.
  [[nodiscard]] bool advanceUntil(const std::function<bool()>& condition, Duration limit);

  /// Something that the hardware does at that moment, also while the thread of the loop sleeps. The action may post and
  /// schedule, but not sleep or advance.
  void scheduleHardware(TimePoint when, Action action);
  void scheduleHardwareAfter(Duration delay, Action action) { scheduleHardware(now() + delay, std::move(action)); }
  [[nodiscard]] std::unique_ptr<HardwareAlarm> makeHardwareAlarm(Action action);

  /// Makes a watched descriptor readable for one turn.
  void signalDescriptor(int descriptor);

  [[nodiscard]] std::size_t pendingTimerCount() const;
  [[nodiscard]] std::size_t postedActionCount() const;
  [[nodiscard]] std::size_t watchedDescriptorCount() const;
  /// Turns of the loop so far.
  [[nodiscard]] std::uint64_t turnCount() const { return turnCount_; }

 private:
  struct Event;
  struct Queue;
  struct Watch;
  struct WatchList;
  class TimerRegistration;
  class WatchRegistration;
  class Alarm;
  struct Posted {
    TimePoint when;
    std::uint64_t sequence;
    Action action;
  };

  [[nodiscard]] std::uint64_t nextSequence() { return sequence_.fetch_add(1, std::memory_order_relaxed); }
  void moveTo(TimePoint when);
  void runHardwareUntil(TimePoint limit);
  [[nodiscard]] bool runOneTurn(TimePoint limit);
  void runTimer();
  void countTurn();

  std::atomic<Duration::rep> now_;  // written by the thread of the loop; post() stamps with it
  std::atomic<std::uint64_t> sequence_ = 0;

  std::shared_ptr<Queue> timers_;
  std::shared_ptr<Queue> hardware_;
  std::shared_ptr<WatchList> watches_;
  std::uint64_t turnCount_ = 0;
  std::uint64_t turnsAtThisMoment_ = 0;

  mutable std::mutex postedMutex_;
  std::deque<Posted> posted_;  // guarded by postedMutex_
};

}  // namespace tolvane
