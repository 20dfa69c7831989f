#pragma once
// The calls into one device's driver, and the kernel's files about it, which wait for the same locks. Once a call had
// to be left behind, none is made until that one has ended. Player's thread, except close() and the destructor.

#include <atomic>
#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "platform/AudioStatus.h"
#include "platform/DeviceCalls.h"
#include "platform/RunLoop.h"

namespace tolvane {

/// Owned by the device, its PCMs and its calls together: the last of them may be one that was left behind.
class AlsaDeviceCalls : public std::enable_shared_from_this<AlsaDeviceCalls> {
 public:
  /// `name` is for people. `settled` runs in a turn of the player's thread after the last call that was left behind has
  /// ended; it must be harmless after the end of the hardware. `calls` outlives every use on the player's thread.
  AlsaDeviceCalls(DeviceCalls& calls, std::string name, RunLoop::Action settled)
      : calls_(calls), home_(calls.home()), name_(std::move(name)), settled_(std::move(settled)) {}

  [[nodiscard]] const std::string& name() const { return name_; }

  /// A call was left behind and has not ended.
  [[nodiscard]] bool isHeldUp() const { return underWay_.load(std::memory_order_acquire) > 0; }  // partner: ended()

  /// Makes the call, which must own all that it touches. kAudioHardwareNotReadyError: it was left behind, or not made
  /// because another one is.
  template <typename Call>
  [[nodiscard]] std::expected<DeviceCalls::Result<Call>, OSStatus> run(Call call) {
    if (isHeldUp()) return std::unexpected(kAudioHardwareNotReadyError);
    underWay_.fetch_add(1, std::memory_order_relaxed);
    try {
      auto result = calls_.run(name_, std::move(call), [self = shared_from_this()] { self->ended(); });
      if (!result) return std::unexpected(kAudioHardwareNotReadyError);
      underWay_.fetch_sub(1, std::memory_order_relaxed);
      return *std::move(result);
    } catch (...) {
      underWay_.fetch_sub(1, std::memory_order_relaxed);
      throw;
    }
  }

  /// Closes something for good: waits for it as for any call, but on a device that is held up for nothing. `kept` must
  /// not go before; the caller may hold it too, and lets go of it after this. On a thread of a call: closes it there.
  void close(std::function<void()> call, const std::shared_ptr<void>& kept = nullptr) {
    if (DeviceCalls::isCallThread()) return call();
    if (!isHeldUp()) return (void)run([call = std::move(call), kept] { call(); });
    leave([call = std::move(call), kept] { call(); });
  }

  /// For a wait of the player's thread's own for the device. See DeviceCalls::Wait.
  [[nodiscard]] DeviceCalls::Wait beginWait() { return {calls_, name_}; }

  /// Lets the last owner of what the call owns be a thread on which its end may hang.
  void leave(std::function<void()> call) {
    underWay_.fetch_add(1, std::memory_order_relaxed);
    calls_.leave(name_, std::move(call), [self = shared_from_this()] { self->ended(); });
  }

  /// See DeviceCalls::Home::bind().
  [[nodiscard]] std::shared_ptr<void> bindToMainThread(std::shared_ptr<void> thing) const {
    return home_.bind(std::move(thing));
  }

 private:
  /// On the thread of a call that was left behind.
  void ended() {
    if (underWay_.fetch_sub(1, std::memory_order_release) == 1) home_.post(settled_);  // partner: isHeldUp()
  }

  DeviceCalls& calls_;
  const DeviceCalls::Home home_;
  const std::string name_;
  const RunLoop::Action settled_;
  std::atomic<int> underWay_{0};  ///< calls: the one that is waited for, and those left behind
};

}  // namespace tolvane
