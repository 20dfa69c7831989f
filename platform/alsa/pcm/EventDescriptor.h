#pragma once
// An eventfd: wakes the threads that poll it. signal() is one system call that never blocks; any thread.

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace tolvane {

class EventDescriptor {
 public:
  EventDescriptor() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
  ~EventDescriptor() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  EventDescriptor(const EventDescriptor&) = delete;
  EventDescriptor& operator=(const EventDescriptor&) = delete;

  /// False when the process had no descriptor left.
  [[nodiscard]] bool isValid() const { return descriptor_ >= 0; }
  [[nodiscard]] int get() const { return descriptor_; }

  void signal() noexcept {
    const std::uint64_t one = 1;
    // It can only fail when the counter is full, and then the descriptor is readable anyway.
    [[maybe_unused]] const ssize_t written = write(descriptor_, &one, sizeof one);
  }
  void clear() noexcept {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(descriptor_, &count, sizeof count);
  }

 private:
  const int descriptor_;
};

}  // namespace tolvane
