#pragma once
// The run loop of the desktop: timers, posted actions and watched descriptors on Qt's event loop. For the thread that
// makes it, except post(). Needs a QCoreApplication (or a class derived from it) that outlives it; never starts or ends
// the loop itself.

#include <memory>

#include "platform/RunLoop.h"

namespace tolvane {

class QtRunLoop final : public RunLoop {
 public:
  QtRunLoop();
  /// Timers, watches and posted actions that are left never run; their registrations may be destroyed later.
  ~QtRunLoop() override;

  [[nodiscard]] TimePoint now() const override;
  /// Fires within a millisecond or two after the interval, never before it. Repeating timers come at least a
  /// millisecond apart; one-shot timers beyond 24 days fire after 24 days.
  [[nodiscard]] Timer scheduleTimer(Duration interval, bool repeats, Action action) override;
  void post(Action action) override;
  void sleepFor(Duration duration) override;
  [[nodiscard]] Watch watchDescriptor(int descriptor, Action action) override;

 private:
  class Hub;
  class TimerRegistration;
  class WatchRegistration;
  std::shared_ptr<Hub> hub_;
};

}  // namespace tolvane
