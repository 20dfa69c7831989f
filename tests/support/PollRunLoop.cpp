#include "tests/support/PollRunLoop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>

namespace tolvane::test {

struct PollRunLoop::Entry {
  Action action;
  int descriptor = -1;  // -1: a timer
  TimePoint due;
  Duration interval{};
  bool repeats = false;
  bool isOver = false;
};

struct PollRunLoop::Entries {
  std::vector<std::shared_ptr<Entry>> all;

  void drop(const std::shared_ptr<Entry>& entry) {
    entry->isOver = true;
    std::erase(all, entry);
  }
};

class PollRunLoop::Handle final : public Registration {
 public:
  Handle(std::weak_ptr<Entries> entries, std::shared_ptr<Entry> entry)
      : entries_(std::move(entries)), entry_(std::move(entry)) {}
  ~Handle() override {
    if (const auto entries = entries_.lock()) entries->drop(entry_);
  }

 private:
  std::weak_ptr<Entries> entries_;
  std::shared_ptr<Entry> entry_;
};

PollRunLoop::PollRunLoop()
    : wakeDescriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), entries_(std::make_shared<Entries>()) {
  if (wakeDescriptor_ < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

PollRunLoop::~PollRunLoop() { close(wakeDescriptor_); }

RunLoop::TimePoint PollRunLoop::now() const {
  return TimePoint(std::chrono::duration_cast<Duration>(std::chrono::steady_clock::now().time_since_epoch()));
}

RunLoop::Timer PollRunLoop::scheduleTimer(Duration interval, bool repeats, Action action) {
  const auto length = std::max(interval, Duration::zero());
  auto entry = std::make_shared<Entry>(Entry{std::move(action), -1, now() + length, length, repeats});
  entries_->all.push_back(entry);
  return std::make_unique<Handle>(entries_, std::move(entry));
}

void PollRunLoop::post(Action action) {
  {
    const std::scoped_lock lock(postedMutex_);
    posted_.push_back(std::move(action));
  }
  eventfd_write(wakeDescriptor_, 1);
}

void PollRunLoop::sleepFor(Duration duration) { std::this_thread::sleep_for(duration); }

RunLoop::Watch PollRunLoop::watchDescriptor(int descriptor, Action action) {
  auto entry = std::make_shared<Entry>(Entry{std::move(action), descriptor, {}, {}, true});
  entries_->all.push_back(entry);
  return std::make_unique<Handle>(entries_, std::move(entry));
}

void PollRunLoop::runFor(Duration duration) {
  const TimePoint end = now() + duration;
  do {
    turn(end);
  } while (now() < end);
}

bool PollRunLoop::runUntil(const std::function<bool()>& condition, Duration limit) {
  const TimePoint end = now() + limit;
  while (!condition()) {
    if (now() >= end) return false;
    turn(end);
  }
  return true;
}

void PollRunLoop::turn(TimePoint limit) {
  waitForDescriptors(limit);
  runPosted();
  runTimers();
}

void PollRunLoop::runPosted() {
  std::vector<Action> actions;
  {
    const std::scoped_lock lock(postedMutex_);
    actions.swap(posted_);
  }
  for (const auto& action : actions) action();
}

void PollRunLoop::runTimers() {
  const auto entries = entries_->all;  // actions may change the list
  for (const auto& entry : entries) {
    if (entry->isOver || entry->descriptor >= 0 || entry->due > now()) continue;
    if (entry->repeats) {
      entry->due = now() + entry->interval;
    } else {
      entries_->drop(entry);
    }
    entry->action();
  }
}

void PollRunLoop::waitForDescriptors(TimePoint limit) {
  std::vector<std::shared_ptr<Entry>> watched;
  std::vector<pollfd> descriptors{{wakeDescriptor_, POLLIN, 0}};
  for (const auto& entry : entries_->all) {
    if (entry->descriptor < 0) {
      limit = std::min(limit, entry->due);
    } else {
      watched.push_back(entry);
      descriptors.push_back({entry->descriptor, POLLIN, 0});
    }
  }
  const auto wait = std::max(limit - now(), Duration::zero());
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
  if (poll(descriptors.data(), descriptors.size(), static_cast<int>(std::min<std::int64_t>(milliseconds, 60'000))) <=
      0) {
    return;
  }
  eventfd_t ignored = 0;
  if (descriptors[0].revents != 0) eventfd_read(wakeDescriptor_, &ignored);
  for (std::size_t i = 0; i < watched.size(); ++i) {
    if (descriptors[i + 1].revents != 0 && !watched[i]->isOver) watched[i]->action();
  }
}

}  // namespace tolvane::test
