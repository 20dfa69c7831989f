#pragma once
// The real-time thread of an output unit: fills the ring of a configured PCM from a pipeline and recovers from faults.
// Made on the player's thread, started and stopped in calls of its device, because each may hang in the driver; run()
// and what it calls are the render thread's, which must not log, lock or allocate and reports through atomics and one
// event descriptor.

#include <poll.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <semaphore>
#include <span>
#include <thread>
#include <vector>

#include "platform/DeliveryRecord.h"
#include "platform/alsa/pcm/AlsaPcm.h"
#include "platform/alsa/pcm/AlsaRecovery.h"
#include "platform/alsa/pcm/EventDescriptor.h"
#include "platform/alsa/pcm/RenderGate.h"
#include "platform/alsa/pcm/RingAccount.h"
#include "platform/conversion/RenderPipeline.h"

namespace tolvane {

/// Shared by its unit and its calls: an abandoned call keeps it alive. During a call, and permanently after one was
/// abandoned, the player's thread may use only what is marked for any thread.
class AlsaRenderLoop {
 public:
  /// `makeRealtime` is called at the start of each thread with its id. `deliveries`, which may be null, records what is
  /// committed to the ring. `notice` is signalled for an underrun or a failure that should be logged.
  AlsaRenderLoop(std::shared_ptr<AlsaPcm> pcm, const AlsaPcmSetup& setup, std::unique_ptr<RenderPipeline> pipeline,
                 std::function<bool(pid_t)> makeRealtime, std::shared_ptr<EventDescriptor> notice,
                 std::shared_ptr<DeliveryRecord> deliveries = nullptr);
  /// Ends what still runs.
  ~AlsaRenderLoop();
  AlsaRenderLoop(const AlsaRenderLoop&) = delete;
  AlsaRenderLoop& operator=(const AlsaRenderLoop&) = delete;

  /// REQUIRES: stopped. Returns when the ring is full and the device has been started.
  [[nodiscard]] OSStatus start(const AURenderCallback& callback);
  /// Ends the thread, then the device, at once. The status is the device's; the loop is stopped even after an error.
  OSStatus stop();
  /// REQUIRES: stopped. Releases the PCM permanently: no start() succeeds afterwards. framesPlayed() stays valid.
  void surrender();
  /// Any thread. On return the callback is not running, and never runs again; the render thread ends as soon as the
  /// driver returns.
  void abandon() noexcept;
  /// False once surrendered.
  [[nodiscard]] bool hasPcm() const { return pcm_ != nullptr; }

  /// The thread runs and the device has not failed.
  [[nodiscard]] bool isAlive() const { return alive_.load(std::memory_order_acquire); }  // partner: fail(), start()
  /// Client frames that the device has played between the last start() and the last stop().
  [[nodiscard]] std::int64_t framesPlayed() const { return framesPlayed_; }
  /// Client frames consumed since the loop was made, estimated from the clock since the render thread's last update;
  /// never goes back. Nothing before the first start(). Any thread.
  [[nodiscard]] std::optional<std::int64_t> sampleTime() const;
  /// Client frames of this run, of those consumed. Any thread.
  [[nodiscard]] std::int64_t framesConsumed() const;
  /// Returns and clears the last error. Any thread, like what follows.
  OSStatus takeLastError() { return lastError_.exchange(noErr, std::memory_order_acq_rel); }  // partner: fail()
  [[nodiscard]] std::uint64_t underruns() const { return underruns_.load(std::memory_order_relaxed); }
  /// alsa-lib's number behind a failure of the device; 0 while there is none.
  [[nodiscard]] long failure() const { return failure_.load(std::memory_order_acquire); }  // partner: fail()

 private:
  [[nodiscard]] std::vector<std::span<std::byte>> memory();

  // Render thread. Errors are alsa-lib's negative numbers.
  void run();
  long beginPlaying();
  long fill();
  long transferMapped(snd_pcm_uframes_t frames);
  long transferWritten(snd_pcm_uframes_t frames);
  [[nodiscard]] int periodMilliseconds() const;
  long waitForRoom();
  long recover(long error);
  long resume();
  void recordDelivery(const std::byte* frames, snd_pcm_sframes_t count) noexcept;
  void publishPosition();
  void renderUncommitted(std::byte* destination, snd_pcm_uframes_t frames);
  void renderInto(std::byte* destination, snd_pcm_uframes_t frames);
  void lookAtStopped();
  void fail(long error);
  // Any thread.
  std::int64_t advancePosition(std::int64_t position) const;

  // In a call of the device, after the render thread has ended.
  long halt();

  // Constant after construction.
  snd_pcm_t* const handle_;  ///< of pcm_
  const AlsaPcmSetup setup_;
  const std::unique_ptr<snd_pcm_status_t, decltype(&snd_pcm_status_free)> status_;  ///< null: there was no memory
  const std::size_t frameBytes_;
  const std::function<bool(pid_t)> makeRealtime_;
  const std::shared_ptr<EventDescriptor> notice_;
  const std::shared_ptr<DeliveryRecord> deliveries_;
  EventDescriptor wake_;  ///< asks the render thread to end

  // Owned by the render thread; without one, by the player's thread and its calls.
  std::unique_ptr<RenderPipeline> pipeline_;
  AlsaRecoveryPace pace_;
  std::vector<std::byte> shadow_;  ///< without mmap: a copy of the device's ring, frame for frame
  std::vector<pollfd> descriptors_;
  RingAccount ring_;
  const std::byte* ringMemory_;  ///< the ring's first frame; with mmap null until frames were written

  // Player's thread and its calls.
  std::shared_ptr<AlsaPcm> pcm_;  ///< null once surrendered
  std::thread thread_;
  std::binary_semaphore begun_{0};
  std::int64_t framesPlayed_ = 0;

  // Shared by all.
  RenderGate gate_;
  std::atomic<bool> everStarted_{false};
  std::atomic<std::int64_t> base_{0};  ///< client frames played before the last start()
  std::atomic<bool> alive_{false};
  std::atomic<bool> ends_{false};
  std::atomic<OSStatus> lastError_{noErr};
  std::atomic<long> failure_{0};
  std::atomic<std::uint64_t> underruns_{0};
  mutable std::atomic<std::int64_t> position_{0};  ///< last value of sampleTime(), or last update by the render thread
  // The render thread's last update from the device, in device frames since start().
  std::atomic<std::int64_t> lookedPlayed_{0};
  std::atomic<std::int64_t> lookedWritten_{0};
  std::atomic<std::int64_t> zeroAt_{0};  ///< PositionLook::zeroAt, in nanoseconds of the monotonic clock
};

}  // namespace tolvane
