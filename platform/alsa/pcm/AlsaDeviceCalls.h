#pragma once
// The calls into one device's driver, and reads of the kernel's files about it, which wait for the same locks. After a
// call was abandoned, no other is made until it has returned. Player's thread, except close() and the destructor.

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

/// Shared by the device, its PCMs and its calls: the last owner may be an abandoned call.
class AlsaDeviceCalls : public std::enable_shared_from_this<AlsaDeviceCalls> {
 public:
  /// `name` is for the user. `settled` runs in a turn of the player's thread after the last abandoned call has
  /// returned; it must be harmless after the end of the hardware. `calls` outlives every use on the player's thread.
  AlsaDeviceCalls(DeviceCalls& calls, std::string name, RunLoop::Action settled)
      : calls_(calls), home_(calls.home()), name_(std::move(name)), settled_(std::move(settled)) {}

  [[nodiscard]] const std::string& name() const { return name_; }

  /// Whether an abandoned call has not returned.
  [[nodiscard]] bool isHeldUp() const { return underWay_.load(std::memory_order_acquire) > 0; }  // partner: ended()

  /// Makes the call, which must own everything that it uses. kAudioHardwareNotReadyError: it was abandoned, or was not
  /// made because another one is.
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

  /// Closes something permanently: waits as for any call, except on a blocked device, where it does not wait. `kept`
  /// must outlive it; the caller may hold it too, and releases it after this. On a thread of a call: closes it there.
  void close(std::function<void()> call, const std::shared_ptr<void>& kept = nullptr) {
    if (DeviceCalls::isCallThread()) return call();
    if (!isHeldUp()) return (void)run([call = std::move(call), kept] { call(); });
    leave([call = std::move(call), kept] { call(); });
  }

  /// For a wait that the player's thread makes itself for the device. See DeviceCalls::Wait.
  [[nodiscard]] DeviceCalls::Wait beginWait() { return {calls_, name_}; }

  /// Makes sure that what the call owns is destroyed on a thread that may hang.
  void leave(std::function<void()> call) {
    underWay_.fetch_add(1, std::memory_order_relaxed);
    calls_.leave(name_, std::move(call), [self = shared_from_this()] { self->ended(); });
  }

  /// See DeviceCalls::Home::bind().
  [[nodiscard]] std::shared_ptr<void> bindToMainThread(std::shared_ptr<void> thing) const {
    return home_.bind(std::move(thing));
  }

 private:
  /// On the thread of an abandoned call.
  void ended() {
    if (underWay_.fetch_sub(1, std::memory_order_release) == 1) home_.post(settled_);  // partner: isHeldUp()
  }

  DeviceCalls& calls_;
  const DeviceCalls::Home home_;
  const std::string name_;
  const RunLoop::Action settled_;
  std::atomic<int> underWay_{0};  ///< calls: the one that is waited for, and abandoned ones
};

}  // namespace tolvane
