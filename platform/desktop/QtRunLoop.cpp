#include "platform/desktop/QtRunLoop.h"

#include <QObject>
#include <QSocketNotifier>
#include <QTimerEvent>
#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>
#include <map>
#include <utility>

namespace tolvane {

namespace {

std::chrono::milliseconds timerInterval(RunLoop::Duration interval, bool repeats) {
  using std::chrono::milliseconds;
  const auto rounded = std::chrono::ceil<milliseconds>(std::max(interval, RunLoop::Duration::zero()));
  return std::clamp(rounded, milliseconds(repeats ? 1 : 0), milliseconds(std::numeric_limits<int>::max()));
}

}  // namespace

/// The one object that receives all timer events; not one object per timer, so that a timer may end within its own
/// action.
class QtRunLoop::Hub final : public QObject {
 public:
  struct Timer {
    int id = 0;  ///< Qt's; 0 once it has ended. Qt gives a number out again later.
    bool repeats = false;
    Action action;
  };

  std::shared_ptr<Timer> start(Duration interval, bool repeats, Action action) {
    const auto timer = std::make_shared<Timer>(Timer{0, repeats, std::move(action)});
    timer->id = startTimer(timerInterval(interval, repeats), Qt::PreciseTimer);
    timers_.emplace(timer->id, timer);
    return timer;
  }

  void end(Timer& timer) {
    if (timer.id == 0) return;
    killTimer(timer.id);
    timers_.erase(timer.id);
    timer.id = 0;
  }

 protected:
  void timerEvent(QTimerEvent* event) override {
    const auto found = timers_.find(event->timerId());
    if (found == timers_.end()) return;
    const auto timer = found->second;
    if (!timer->repeats) end(*timer);
    timer->action();
  }

 private:
  std::map<int, std::shared_ptr<Timer>> timers_;
};

class QtRunLoop::TimerRegistration final : public RunLoop::Registration {
 public:
  TimerRegistration(const std::shared_ptr<Hub>& hub, std::shared_ptr<Hub::Timer> timer)
      : hub_(hub), timer_(std::move(timer)) {}
  ~TimerRegistration() override {
    if (const auto hub = hub_.lock()) hub->end(*timer_);
  }

 private:
  std::weak_ptr<Hub> hub_;
  std::shared_ptr<Hub::Timer> timer_;
};

class QtRunLoop::WatchRegistration final : public RunLoop::Registration {
 public:
  WatchRegistration(const std::shared_ptr<Hub>& hub, int descriptor, Action action)
      : hub_(hub), notifier_(new QSocketNotifier(descriptor, QSocketNotifier::Read, hub.get())) {
    QObject::connect(notifier_, &QSocketNotifier::activated, notifier_,
                     [held = std::make_shared<Action>(std::move(action))] {
                       const auto keptAlive = held;  // the action may end this watch, and with it this closure
                       (*keptAlive)();
                     });
  }
  ~WatchRegistration() override {
    if (hub_.expired()) return;  // the notifier was destroyed with its parent
    // Disabled at once, so that the descriptor can be closed and its number used again; deleted later, because this may
    // be the notifier's own turn.
    notifier_->setEnabled(false);
    notifier_->disconnect();
    notifier_->deleteLater();
  }

 private:
  std::weak_ptr<Hub> hub_;
  QSocketNotifier* notifier_;  // owned by the hub
};

QtRunLoop::QtRunLoop() : hub_(std::make_shared<Hub>()) {}

QtRunLoop::~QtRunLoop() = default;

RunLoop::TimePoint QtRunLoop::now() const {
  return TimePoint(std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch()));
}

RunLoop::Timer QtRunLoop::scheduleTimer(Duration interval, bool repeats, Action action) {
  return std::make_unique<TimerRegistration>(hub_, hub_->start(interval, repeats, std::move(action)));
}

void QtRunLoop::post(Action action) { QMetaObject::invokeMethod(hub_.get(), std::move(action), Qt::QueuedConnection); }

void QtRunLoop::sleepFor(Duration duration) {
  if (duration <= Duration::zero()) return;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
  timespec rest{static_cast<std::time_t>(seconds.count()), static_cast<long>((duration - seconds).count())};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
  }
}

RunLoop::Watch QtRunLoop::watchDescriptor(int descriptor, Action action) {
  return std::make_unique<WatchRegistration>(hub_, descriptor, std::move(action));
}

}  // namespace tolvane
