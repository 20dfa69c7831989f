#pragma once
// One stream to one sink: gives the graph what a render callback renders, as 32-bit float at the client's rate. Main
// thread, but for process(), which the library calls on its data thread and which must not log, lock or allocate.
// Must not outlive its connection to the server.

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
#include "platform/pipewire/PipeWireConnection.h"
#include "platform/pipewire/PipeWireFacts.h"

struct pw_stream;
struct pw_time;
struct spa_hook;
struct spa_io_position;

namespace tolvane {

class PipeWireStream {
 public:
  struct Setup {
    std::uint32_t sink = 0;  ///< its object
    std::string serial;      ///< the sink's
    std::uint32_t rate = 0;  ///< hertz, the client's
    /// Ask the graph, and with it the sink, to run at the client's rate while this stream plays.
    bool leadsRate = false;
    std::uint32_t channels = 0;
    ChannelLayout layout{};  ///< of the channels
    std::shared_ptr<DeliveryRecord> deliveries{};  ///< of what is put into the server's buffers; null: nothing is
  };

  /// `changed` runs on the player's thread, from the library's loop, when state or volume have changed.
  PipeWireStream(PipeWireConnection& connection, RunLoop& runLoop, Setup setup,
                 std::unique_ptr<RenderPipeline> pipeline, std::function<void()> changed);
  ~PipeWireStream();
  PipeWireStream(const PipeWireStream&) = delete;
  PipeWireStream& operator=(const PipeWireStream&) = delete;

  /// Makes the stream known to the server, not playing. Bounded.
  [[nodiscard]] OSStatus open();
  /// REQUIRES: open, stopped. Returns when the sink asks for frames at a settled rate; the first frame that is rendered
  /// is the first that is heard. Bounded.
  [[nodiscard]] OSStatus start(const AURenderCallback& callback);
  /// No callback is under way afterwards. What has been rendered is in the sink's hands, and heard.
  void stop();
  /// The server has gone, or the sink: what the hardware had not played yet counts as not heard.
  void markLost(OSStatus status);

  [[nodiscard]] bool isAlive() const { return isRunning_ && !isLost_; }
  [[nodiscard]] bool isLost() const { return isLost_; }
  /// What markLost() was told; noErr before.
  [[nodiscard]] OSStatus lostStatus() const { return lostStatus_; }
  /// Client frames between the last start() and the last stop() or loss.
  [[nodiscard]] std::int64_t framesPlayed() const { return framesPlayed_; }
  /// Client frames that the hardware has played since the stream was made, as far as the graph reports that; nothing
  /// before the first start(). Never goes back.
  [[nodiscard]] std::optional<std::int64_t> sampleTime() const;
  OSStatus takeLastError() { return lastError_.exchange(noErr, std::memory_order_acq_rel); }  // partner: process()
  [[nodiscard]] std::uint64_t underruns() const { return underruns_.load(std::memory_order_relaxed); }
  /// Frames that the graph asks for at a time; 0: not known yet.
  [[nodiscard]] std::uint32_t quantum() const { return quantum_.load(std::memory_order_relaxed); }
  /// Calls of the sink for frames so far, silence included.
  [[nodiscard]] std::uint64_t cycles() const { return cycles_.load(std::memory_order_relaxed); }
  /// How long the hardware still plays what it was given up to now.
  [[nodiscard]] RunLoop::Duration delay() const;
  [[nodiscard]] PipeWireStreamFacts facts() const;
  [[nodiscard]] const Setup& setup() const { return setup_; }

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
  [[nodiscard]] bool rateHasSettled() const;
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
