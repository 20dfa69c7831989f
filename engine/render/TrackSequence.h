#pragma once
// What an output unit pulls: a track, and after its last frame the first frame of the following one, within the same
// callback. render() runs on the unit's real-time thread, everything else on the player's thread. The render path must
// never allocate, lock, log or make a system call.
//
// The two threads share one atomic pointer, the coupled track. The thread that exchanges it for null owns it: the
// render thread at the crossing, the player's thread when it uncouples.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "engine/render/AudioRenderContext.h"

namespace tolvane {

class TrackSequence {
 public:
  TrackSequence() = default;
  TrackSequence(const TrackSequence&) = delete;
  TrackSequence& operator=(const TrackSequence&) = delete;

  // Player's thread, while the unit is stopped.

  /// Sets the track to pull next, from its own position; no track is coupled. REQUIRES: not null.
  void load(std::shared_ptr<AudioRenderContext> track);
  /// Releases all tracks.
  void clear();
  /// Begins a run of the unit: rendered and played frames are counted from here.
  void beginRun();
  /// Ends the run, of which the device has played `framesPlayed` frames (AudioOutputUnit::framesPlayed()). Moves back
  /// to the first frame that was rendered but not heard. If that is in the coupled track, this track becomes the loaded
  /// one and the result is true; otherwise the coupling ends.
  bool endRun(std::int64_t framesPlayed);

  // Player's thread, at any time.

  /// Couples `track`, to be rendered after the loaded one. REQUIRES: no track is coupled; its position is 0; its format
  /// is the loaded track's.
  void couple(std::shared_ptr<AudioRenderContext> track);
  /// Ends the coupling. False if the crossing has been rendered.
  [[nodiscard]] bool uncouple();
  [[nodiscard]] bool isCoupled() const { return following_ != nullptr; }
  /// Null: none.
  [[nodiscard]] const AudioRenderContext* loaded() const { return loaded_.get(); }
  [[nodiscard]] const AudioRenderContext* following() const { return following_.get(); }
  /// The first frame of the coupled track, counted in rendered frames of the run; nothing until the render thread has
  /// reached it.
  [[nodiscard]] std::optional<std::int64_t> crossing() const;
  /// The value of crossing() at the last crossing; nothing before the first one.
  [[nodiscard]] std::optional<std::int64_t> lastCrossing() const { return lastCrossing_; }
  /// The device has played the crossing: the coupled track becomes the loaded one. REQUIRES: crossing().
  void cross();
  /// The position in the loaded track when the device has played `framesPlayed` frames of this run.
  [[nodiscard]] std::int64_t positionAfter(std::int64_t framesPlayed) const;
  /// Calls of render() for all tracks so far, never decreasing; they show whether the unit still pulls.
  [[nodiscard]] std::int64_t renderCycleCount() const;

  /// The callback to install in an output unit. REQUIRES: the sequence outlives the installation.
  [[nodiscard]] AURenderCallback callback() noexcept { return {&renderCallback, this}; }

  // Render thread.

  /// As AudioRenderContext::render(), including the crossing. REQUIRES: a track is loaded.
  OSStatus render(std::uint32_t frames, AudioBufferList* ioData) noexcept;
  /// An AURenderCallback::Proc; `refCon` is the sequence.
  static OSStatus renderCallback(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept;

 private:
  void leave(std::shared_ptr<AudioRenderContext>& track);
  OSStatus renderAcross(AudioRenderContext& ending, std::int64_t left, std::uint32_t frames,
                        AudioBufferList& list) noexcept;

  static constexpr std::int64_t none = -1;

  // Player's thread: owns the tracks; where the run began.
  std::shared_ptr<AudioRenderContext> loaded_;
  std::shared_ptr<AudioRenderContext> following_;  ///< the coupled track; null: none
  std::int64_t startPosition_ = 0;                 ///< in the loaded track
  std::int64_t startFrame_ = 0;                    ///< frame of the run at which the loaded track was at startPosition_
  std::optional<std::int64_t> lastCrossing_;
  std::int64_t earlierCycles_ = 0;  ///< of tracks that are no longer held

  // Owned by the render thread while the unit runs, by the player's while it is stopped; starting and stopping order
  // both.
  AudioRenderContext* current_ = nullptr;
  std::int64_t rendered_ = 0;  ///< frames of this run

  // Atomic.
  std::atomic<AudioRenderContext*> coupled_{nullptr};  ///< null once one of the threads has taken it
  std::atomic<std::int64_t> crossing_{none};

  static_assert(std::atomic<AudioRenderContext*>::is_always_lock_free);
  static_assert(std::atomic<std::int64_t>::is_always_lock_free);
};

}  // namespace tolvane
