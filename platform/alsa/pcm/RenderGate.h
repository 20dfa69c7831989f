#pragma once
// Guards a render callback: once the gate is shut, the callback is not running and never runs again, whatever the
// render thread does later. The render thread passes through; any other thread may shut it.

#include <atomic>
#include <thread>

namespace tolvane {

class RenderGate {
 public:
  /// Runs the action and returns true; if the gate is shut, only returns false.
  template <typename Action>
  bool pass(Action action) noexcept {
    // Set before the gate is checked: a thread that shuts it afterwards sees this, and waits.
    isPassing_.store(true, std::memory_order_seq_cst);             // partner: shut()
    const bool isOpen = !isShut_.load(std::memory_order_seq_cst);  // partner: shut()
    if (isOpen) action();
    isPassing_.store(false, std::memory_order_seq_cst);  // partner: shut()
    return isOpen;
  }

  /// Waits only for an action in progress: a render callback copies some frames and returns.
  void shut() noexcept {
    isShut_.store(true, std::memory_order_seq_cst);                                // partner: pass()
    while (isPassing_.load(std::memory_order_seq_cst)) std::this_thread::yield();  // partner: pass()
  }

 private:
  std::atomic<bool> isShut_{false};
  std::atomic<bool> isPassing_{false};
};

}  // namespace tolvane
