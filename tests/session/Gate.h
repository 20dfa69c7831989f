#pragma once
// Holds one call of a service for as long as a test needs, as a device, a server or a disk that hangs would. Any
// thread.

#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace tolvane::test {

class Gate {
 public:
  Gate() = default;
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;
  ~Gate() { open(); }

  // The service.

  /// Returns at once, unless this is the call to be held.
  void pass(std::string_view call) {
    std::unique_lock lock(mutex_);
    if (call != call_) return;
    call_.clear();
    isHolding_ = true;
    held_ = std::this_thread::get_id();
    changed_.wait(lock, [this] { return !isHolding_; });
  }

  // The test.

  /// Holds the next call of this name.
  void holdNext(std::string_view call) {
    const std::lock_guard lock(mutex_);
    call_ = call;
  }
  [[nodiscard]] bool isHolding() const {
    const std::lock_guard lock(mutex_);
    return isHolding_;
  }
  [[nodiscard]] bool isHolding(std::thread::id thread) const {
    const std::lock_guard lock(mutex_);
    return isHolding_ && held_ == thread;
  }
  /// Releases the held call, and holds no further ones.
  void open() {
    const std::lock_guard lock(mutex_);
    call_.clear();
    isHolding_ = false;
    changed_.notify_all();
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::string call_;  // guarded by mutex_, as all below
  bool isHolding_ = false;
  std::thread::id held_;  ///< while isHolding_
};

}  // namespace tolvane::test
