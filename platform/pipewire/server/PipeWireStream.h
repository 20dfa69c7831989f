#pragma once
// One stream to one sink: gives the graph what a render callback renders, as 32-bit float at the client's rate.
// Player's thread, except process(), which the library calls on its data thread and which must not log, lock or
// allocate. Must not outlive its connection to the server.

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/AudioOutputUnit.h"
#include "platform/DeliveryRecord.h"
#include "platform/conversion/RenderPipeline.h"
#include "platform/pipewire/facts/PipeWireFacts.h"
#include "platform/pipewire/server/PipeWireConnection.h"
#include "platform/pipewire/server/SoundServer.h"

struct pw_stream;
struct pw_time;
struct spa_hook;
struct spa_io_position;

namespace tolvane {

class PipeWireStream final : public SoundServerStream {
 public:
  /// `changed` runs on the player's thread, from the library's loop, when state or volume have changed.
  PipeWireStream(PipeWireConnection& connection, RunLoop& runLoop, Setup setup,
                 std::unique_ptr<RenderPipeline> pipeline, std::function<void()> changed);
  ~PipeWireStream() override;

  // SoundServerStream
  OSStatus open() override;
  OSStatus start(const AURenderCallback& callback) override;
  void stop() override;
  void markLost(OSStatus status) override;
  bool isAlive() const override { return isRunning_ && !isLost_; }
  bool isLost() const override { return isLost_; }
  OSStatus lostStatus() const override { return lostStatus_; }
  std::int64_t framesPlayed() const override { return framesPlayed_; }
  std::optional<std::int64_t> sampleTime() const override;
  OSStatus takeLastError() override {
    return lastError_.exchange(noErr, std::memory_order_acq_rel);  // partner: process()
  }
  std::uint64_t underruns() const override { return underruns_.load(std::memory_order_relaxed); }
  std::uint32_t quantum() const override { return quantum_.load(std::memory_order_relaxed); }
  std::uint64_t cycles() const override { return cycles_.load(std::memory_order_relaxed); }
  RunLoop::Duration delay() const override;
  PipeWireStreamFacts facts() const override;
  const Setup& setup() const override { return setup_; }

 private:
  friend struct PipeWireStreamCallbacks;

  // Data thread.
  void process() noexcept;
  void renderInto(std::byte* destination, std::uint32_t frames, const pw_time* time) noexcept;

  // Player's thread.
  void resetVolume();
  void shutGate();
  void beginDeliveries();
  void endDeliveries();
  [[nodiscard]] bool isReadyForMusic() const;
  [[nodiscard]] OSStatus troubleStatus() const;

  // Constant after construction.
  PipeWireConnection& connection_;
  RunLoop& runLoop_;
  const Setup setup_;
  const std::function<void()> changed_;
  const std::size_t frameBytes_;

  // Data thread while the gate is open; player's thread while it is shut.
  std::unique_ptr<RenderPipeline> pipeline_;

  // Player's thread.
  pw_stream* stream_ = nullptr;
  std::unique_ptr<spa_hook> hook_;
  std::vector<std::uint32_t> positions_;  ///< by the sink's names, once it is open
  int state_ = 0;                         ///< the library's number
  bool isRunning_ = false;
  bool isLost_ = false;
  OSStatus lostStatus_ = noErr;
  bool everStarted_ = false;
  std::vector<float> volumes_;
  float volume_ = 1;
  bool isMuted_ = false;
  std::int64_t framesPlayed_ = 0;
  std::int64_t base_ = 0;              ///< client frames played before the last start()
  mutable std::int64_t reported_ = 0;  ///< by sampleTime(), since then

  // Between both.
  std::atomic<bool> gate_{false};         ///< the callback may be called
  std::atomic<bool> isRendering_{false};  ///< it is being called, or about to be
  std::atomic<std::int64_t> rendered_{0};
  std::atomic<std::uint64_t> cycles_{0};
  std::atomic<std::uint64_t> underruns_{0};
  std::atomic<std::uint32_t> quantum_{0};
  std::atomic<std::uint32_t> graphRate_{0};
  std::atomic<std::uint32_t> clock_{0};                         ///< the object whose clock drives the graph
  std::atomic<const spa_io_position*> graphPosition_{nullptr};  ///< the library's; it says when there is another
  /// When the hardware plays the first frame since start(), as the last cycle has it: nanoseconds of the kernel's
  /// monotonic clock. One number, because a reader must not take one of two from another cycle.
  static constexpr std::int64_t notReported = std::numeric_limits<std::int64_t>::min();
  std::atomic<std::int64_t> firstHeardAt_{notReported};
  std::atomic<OSStatus> lastError_{noErr};
};

}  // namespace tolvane
