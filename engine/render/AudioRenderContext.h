#pragma once
// One prepared track in memory and the position in it: fills each buffer that the output unit asks for, silence past
// the end. render() runs on the unit's real-time thread, everything else on the player's thread. The render path must
// never allocate, lock, log or make a system call.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "engine/render/AtomicOutputLevels.h"
#include "engine/render/PCMOutputLevelProcessor.h"
#include "engine/render/PcmBlock.h"
#include "platform/AudioOutputUnit.h"
#include "platform/AudioStatus.h"
#include "platform/AudioStreamBasicDescription.h"

namespace tolvane {

class AudioRenderContext {
 public:
  /// REQUIRES: `byteCount` is in 0 … buffer.size(); `outputLevels` is not null. The position is 0. A block without one
  /// whole frame is at its end from the start.
  AudioRenderContext(PcmBlock buffer, std::int64_t byteCount, const AudioStreamBasicDescription& format,
                     std::shared_ptr<AtomicOutputLevels> outputLevels);
  AudioRenderContext(const AudioRenderContext&) = delete;
  AudioRenderContext& operator=(const AudioRenderContext&) = delete;

  // Player's thread.

  /// Must be written before the context is handed to an output unit.
  [[nodiscard]] PcmBlock& buffer() { return buffer_; }
  [[nodiscard]] const PcmBlock& buffer() const { return buffer_; }
  [[nodiscard]] std::int64_t byteCount() const { return byteCount_; }
  [[nodiscard]] std::int64_t totalFrames() const { return totalFrames_; }
  [[nodiscard]] const AudioStreamBasicDescription& format() const { return format_; }
  [[nodiscard]] const std::shared_ptr<AtomicOutputLevels>& outputLevels() const { return outputLevels_; }
  /// Absent if samples of this format cannot be scaled.
  [[nodiscard]] const std::optional<PCMOutputLevelProcessor>& levelProcessor() const { return levelProcessor_; }

  /// The next frame to render, 0 … totalFrames(). While the unit runs it may lag by a buffer.
  [[nodiscard]] std::int64_t currentFrame() const noexcept {
    // relaxed: a position to show. Partner: advance in render(). It orders nothing else.
    return currentFrame_.load(std::memory_order_relaxed);
  }
  /// Calls of render() so far; they show whether the unit still pulls.
  [[nodiscard]] std::int64_t renderCycleCount() const noexcept {
    // seq_cst. Partner: the increment in render().
    return renderCycleCount_.load(std::memory_order_seq_cst);
  }
  /// When it is true, currentFrame() is totalFrames() until the next seek.
  [[nodiscard]] bool didReachEnd() const noexcept {
    // seq_cst. Partner: the exchange in setReachedEnd(), behind which the position was written.
    return didReachEnd_.load(std::memory_order_seq_cst) != 0;
  }

  /// REQUIRES: the output unit is stopped. Frames outside 0 … totalFrames() are clamped.
  void seek(std::int64_t toFrame) noexcept;

  /// Whether the samples of the next `seconds` are resident in memory. The kernel evicts pages that have not been
  /// accessed for long: the rest of a long track, or a track that was paused for hours. Any thread.
  [[nodiscard]] bool isInMemory(double seconds) const;
  /// Reads them, so that the render thread takes no page fault. May wait for the disk. Any thread.
  void bringIntoMemory(double seconds) const noexcept;

  /// The callback to install in an output unit. REQUIRES: the context outlives the installation.
  [[nodiscard]] AURenderCallback callback() noexcept { return {&renderCallback, this}; }

  // Render thread.

  /// Fills the list's one buffer with the next frames, then silence (zeros; offset binary: the half-way code), and
  /// reduces its byte size to `frames` frames. Past the end this is silence and success. kAudio_ParamError (buffers
  /// silenced) for a null list, one that does not hold exactly one buffer with data, or a format without bytes;
  /// kAudioUnitErr_FormatNotSupported, with the position unmoved, if levels are to be applied to samples that cannot be
  /// scaled.
  OSStatus render(std::uint32_t frames, AudioBufferList* ioData) noexcept;

  /// An AURenderCallback::Proc; `refCon` is the context.
  static OSStatus renderCallback(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept;

 private:
  void setReachedEnd(bool reached) noexcept;
  [[nodiscard]] std::size_t bytesIn(double seconds) const noexcept;
  [[nodiscard]] std::size_t currentByte() const noexcept;
  void silence(const AudioBuffer& buffer, std::size_t fromByte) const noexcept;

  // Constant after construction; the block's bytes are constant from the time a unit has the context.
  PcmBlock buffer_;
  const std::int64_t byteCount_;
  const std::int64_t totalFrames_;
  const AudioStreamBasicDescription format_;
  const std::shared_ptr<AtomicOutputLevels> outputLevels_;
  const std::optional<PCMOutputLevelProcessor> levelProcessor_;
  const std::array<std::byte, 8> silentSample_;
  const bool silenceIsZero_;

  // Atomic. Written by the render thread while the unit runs, and by the player's thread (seek) while it is stopped;
  // starting and stopping the unit orders the two. The player's thread reads at any time.
  std::atomic<std::int64_t> currentFrame_{0};
  std::atomic<std::int64_t> renderCycleCount_{0};
  std::atomic<std::uint32_t> didReachEnd_;

  static_assert(std::atomic<std::int64_t>::is_always_lock_free);
  static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
};

}  // namespace tolvane
