#pragma once
// The time of DeviceCalls, moved by a test; and a gate for the calls. Any thread.

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include "platform/DeviceCalls.h"

namespace tolvane::test {

class ManualDeviceTime final : public DeviceCalls::Time {
 public:
  using Clock = DeviceCalls::Clock;

  Clock::time_point now() const override {
    const std::scoped_lock lock(mutex_);
    return now_;
  }

  void waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& changed,
                 Clock::time_point end) const override {
    {
      const std::scoped_lock own(mutex_);
      lock_ = lock.mutex();
      changed_ = &changed;
      end_ = end;
    }
    begun_.notify_all();
    changed.wait(lock);
    const std::scoped_lock own(mutex_);
    lock_ = nullptr;
    changed_ = nullptr;
  }

  /// Returns while something waits until that moment.
  void awaitWaitUntil(Clock::time_point end) const {
    std::unique_lock lock(mutex_);
    begun_.wait(lock, [&] { return changed_ != nullptr && end_ == end; });
  }

  void advance(Clock::duration duration) {
    std::mutex* waiter = nullptr;
    std::condition_variable* changed = nullptr;
    {
      const std::scoped_lock lock(mutex_);
      now_ += duration;
      waiter = lock_;
      changed = changed_;
    }
    if (waiter == nullptr) return;
    // A thread that has just read the time holds this until the wait has begun.
    { const std::scoped_lock lock(*waiter); }
    changed->notify_all();
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable begun_;
  // Guarded by mutex_.
  Clock::time_point now_{std::chrono::hours(1)};
  mutable std::mutex* lock_ = nullptr;  ///< of the wait under way
  mutable std::condition_variable* changed_ = nullptr;
  mutable Clock::time_point end_;
};

/// Calls stay in it until it is opened.
class Gate {
 public:
  void pass() {
    std::unique_lock lock(mutex_);
    ++inside_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isOpen_; });
    --inside_;
  }
  void open() {
    const std::scoped_lock lock(mutex_);
    isOpen_ = true;
    changed_.notify_all();
  }
  /// Returns when so many stay in it.
  void await(int count = 1) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return inside_ == count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int inside_ = 0;
  bool isOpen_ = false;
};

}  // namespace tolvane::test
