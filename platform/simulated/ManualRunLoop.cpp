#include "platform/simulated/ManualRunLoop.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tolvane {
namespace {

// Not zero, so that a forgotten TimePoint{} is not mistaken for the present.
constexpr RunLoop::Duration kFirstMoment = std::chrono::hours(1);
constexpr RunLoop::Duration kShortestRepetition = std::chrono::milliseconds(1);
constexpr std::uint64_t kMostTurnsInOneMoment = 1'000'000;

}  // namespace

struct ManualRunLoop::Event {
  Action action;
  Duration interval{};
  bool repeats = false;
  bool isQueued = false;
  TimePoint due;
  std::uint64_t sequence = 0;
};

struct ManualRunLoop::Queue {
  using Key = std::pair<TimePoint, std::uint64_t>;
  std::map<Key, std::shared_ptr<Event>> events;
  std::map<Key, std::shared_ptr<Event>>::node_type spare;  // kept, so that an event that comes again costs no memory

  void insert(const std::shared_ptr<Event>& event, TimePoint due, std::uint64_t sequence) {
    event->due = due;
    event->sequence = sequence;
    event->isQueued = true;
    if (spare) {
      spare.key() = Key{due, sequence};
      spare.mapped() = event;
      events.insert(std::move(spare));
    } else {
      events.emplace(Key{due, sequence}, event);
    }
  }

  void remove(Event& event) {
    if (!event.isQueued) return;
    event.isQueued = false;
    spare = events.extract(Key{event.due, event.sequence});
    spare.mapped().reset();
  }

  std::shared_ptr<Event> takeFirst() {
    spare = events.extract(events.begin());
    auto event = std::move(spare.mapped());
    event->isQueued = false;
    return event;
  }

  [[nodiscard]] bool isDue(TimePoint limit) const { return !events.empty() && events.begin()->first.first <= limit; }
};

struct ManualRunLoop::Watch {
  int descriptor;
  Action action;
  bool isWatched = true;
};

struct ManualRunLoop::WatchList {
  std::vector<std::shared_ptr<Watch>> watches;
};

/// The handle of a timer; may outlive the run loop.
class ManualRunLoop::TimerRegistration final : public Registration {
 public:
  TimerRegistration(std::weak_ptr<Queue> queue, std::shared_ptr<Event> event)
      : queue_(std::move(queue)), event_(std::move(event)) {}
  ~TimerRegistration() override {
    event_->repeats = false;
    if (const auto queue = queue_.lock()) queue->remove(*event_);
  }

 private:
  std::weak_ptr<Queue> queue_;
  std::shared_ptr<Event> event_;
};

class ManualRunLoop::WatchRegistration final : public Registration {
 public:
  WatchRegistration(std::weak_ptr<WatchList> list, std::shared_ptr<Watch> watch)
      : list_(std::move(list)), watch_(std::move(watch)) {}
  ~WatchRegistration() override {
    watch_->isWatched = false;
    if (const auto list = list_.lock()) std::erase(list->watches, watch_);
  }

 private:
  std::weak_ptr<WatchList> list_;
  std::shared_ptr<Watch> watch_;
};

class ManualRunLoop::Alarm final : public HardwareAlarm {
 public:
  Alarm(ManualRunLoop& loop, Action action) : loop_(loop), queue_(loop.hardware_), event_(std::make_shared<Event>()) {
    event_->action = std::move(action);
  }
  ~Alarm() override { clear(); }

  void set(TimePoint when) override {
    clear();
    if (const auto queue = queue_.lock()) queue->insert(event_, when, loop_.nextSequence());
  }
  void clear() override {
    if (const auto queue = queue_.lock()) queue->remove(*event_);
  }

 private:
  ManualRunLoop& loop_;
  std::weak_ptr<Queue> queue_;
  std::shared_ptr<Event> event_;
};

ManualRunLoop::ManualRunLoop()
    : now_(kFirstMoment.count()),
      timers_(std::make_shared<Queue>()),
      hardware_(std::make_shared<Queue>()),
      watches_(std::make_shared<WatchList>()) {}

ManualRunLoop::~ManualRunLoop() = default;

RunLoop::Timer ManualRunLoop::scheduleTimer(Duration interval, bool repeats, Action action) {
  auto event = std::make_shared<Event>();
  event->action = std::move(action);
  event->interval = repeats ? std::max(interval, kShortestRepetition) : std::max(interval, Duration::zero());
  event->repeats = repeats;
  timers_->insert(event, now() + event->interval, nextSequence());
  return std::make_unique<TimerRegistration>(timers_, std::move(event));
}

void ManualRunLoop::post(Action action) {
  const std::scoped_lock lock(postedMutex_);
  posted_.push_back({now(), nextSequence(), std::move(action)});
}

void ManualRunLoop::sleepFor(Duration duration) { runHardwareUntil(now() + std::max(duration, Duration::zero())); }

RunLoop::Watch ManualRunLoop::watchDescriptor(int descriptor, Action action) {
  auto watch = std::make_shared<Watch>(Watch{descriptor, std::move(action)});
  watches_->watches.push_back(watch);
  return std::make_unique<WatchRegistration>(watches_, std::move(watch));
}

void ManualRunLoop::signalDescriptor(int descriptor) {
  for (const auto& watch : watches_->watches) {
    if (watch->descriptor != descriptor) continue;
    post([watch] {
      if (watch->isWatched) watch->action();
    });
  }
}

void ManualRunLoop::advance(Duration duration) {
  const TimePoint target = now() + std::max(duration, Duration::zero());
  while (runOneTurn(target)) {
  }
  runHardwareUntil(target);
}

bool ManualRunLoop::advanceUntil(const std::function<bool()>& condition, Duration limit) {
  const TimePoint target = now() + std::max(limit, Duration::zero());
  while (!condition()) {
    if (!runOneTurn(target)) {
      runHardwareUntil(target);
      return condition();
    }
  }
  return true;
}

void ManualRunLoop::scheduleHardware(TimePoint when, Action action) {
  auto event = std::make_shared<Event>();
  event->action = std::move(action);
  hardware_->insert(event, when, nextSequence());
}

std::unique_ptr<ManualRunLoop::HardwareAlarm> ManualRunLoop::makeHardwareAlarm(Action action) {
  return std::make_unique<Alarm>(*this, std::move(action));
}

std::size_t ManualRunLoop::pendingTimerCount() const { return timers_->events.size(); }

std::size_t ManualRunLoop::postedActionCount() const {
  const std::scoped_lock lock(postedMutex_);
  return posted_.size();
}

std::size_t ManualRunLoop::watchedDescriptorCount() const { return watches_->watches.size(); }

/// Time never goes back: an action that slept may have gone past the moment asked for.
void ManualRunLoop::moveTo(TimePoint when) {
  if (when <= now()) return;
  now_.store(when.time_since_epoch().count(), std::memory_order_relaxed);
  turnsAtThisMoment_ = 0;
}

void ManualRunLoop::runHardwareUntil(TimePoint limit) {
  const auto queue = hardware_;
  while (queue->isDue(limit)) {
    const auto event = queue->takeFirst();
    moveTo(event->due);
    countTurn();
    event->action();
  }
  moveTo(limit);
}

/// The next timer or posted action until `limit`, after the hardware that comes before it; false when there is none.
bool ManualRunLoop::runOneTurn(TimePoint limit) {
  runHardwareUntil(now());
  const bool hasTimer = timers_->isDue(std::max(limit, now()));
  {
    std::unique_lock lock(postedMutex_);
    if (!posted_.empty()) {
      const Posted& first = posted_.front();
      if (!hasTimer || Queue::Key{first.when, first.sequence} < timers_->events.begin()->first) {
        const Action action = std::move(posted_.front().action);
        posted_.pop_front();
        lock.unlock();
        countTurn();
        ++turnCount_;
        action();
        return true;
      }
    }
  }
  const bool timerIsNext = hasTimer && (!hardware_->isDue(limit) ||
                                        timers_->events.begin()->first.first < hardware_->events.begin()->first.first ||
                                        timers_->events.begin()->first.first <= now());
  if (timerIsNext) {
    runTimer();
    return true;
  }
  if (!hardware_->isDue(limit)) return false;
  // Hardware that acts may post: look again afterwards.
  runHardwareUntil(hardware_->events.begin()->first.first);
  return true;
}

void ManualRunLoop::runTimer() {
  const auto queue = timers_;
  const auto event = queue->takeFirst();
  moveTo(event->due);
  if (event->repeats) {
    // A timer that fell behind fires once and keeps its schedule.
    const auto missed = (now() - event->due) / event->interval;
    queue->insert(event, event->due + (missed + 1) * event->interval, nextSequence());
  }
  countTurn();
  ++turnCount_;
  event->action();
}

void ManualRunLoop::countTurn() {
  if (++turnsAtThisMoment_ > kMostTurnsInOneMoment) {
    throw std::logic_error("ManualRunLoop: time stands still, because actions keep scheduling more at the same moment");
  }
}

}  // namespace tolvane
