#pragma once
// What an output unit pulls: a track, and behind its last frame the first frame of the one that follows, within the
// same callback. render() runs on the unit's real-time thread, everything else on the player's thread. The render path
// must never allocate, lock, log or make a system call.
//
// The two threads share one atomic pointer, the coupled track. The thread that exchanges it for null has it: the render
// thread when it crosses, the player's thread when it takes the coupling back.

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

  /// What is pulled next, from its own position; nothing is coupled. REQUIRES: not null.
  void load(std::shared_ptr<AudioRenderContext> track);
  /// Lets go of all tracks.
  void clear();
  /// A run of the unit begins: what it renders and plays is counted from here.
  void beginRun();
  /// The run has ended, and the device has played `framesPlayed` frames of it (AudioOutputUnit::framesPlayed()). Moves
  /// back to the first frame that was rendered but not heard. Where that lies in the coupled track, this track becomes
  /// the loaded one, and the result is true; else the coupling ends.
  bool endRun(std::int64_t framesPlayed);

  // Player's thread, at any time.

  /// Renders `track` behind the loaded one. REQUIRES: nothing is coupled; its position is 0, its format is the loaded
  /// track's.
  void couple(std::shared_ptr<AudioRenderContext> track);
  /// Ends the coupling. False: the crossing has been rendered.
  [[nodiscard]] bool uncouple();
  [[nodiscard]] bool isCoupled() const { return following_ != nullptr; }
  /// Null: none.
  [[nodiscard]] const AudioRenderContext* loaded() const { return loaded_.get(); }
  [[nodiscard]] const AudioRenderContext* following() const { return following_.get(); }
  /// The frame of the run, counted by what was rendered, that is the first of the coupled track; nothing until the
  /// render thread has come to it.
  [[nodiscard]] std::optional<std::int64_t> crossing() const;
  /// What crossing() was when the loaded track became that; nothing before the first crossing.
  [[nodiscard]] std::optional<std::int64_t> lastCrossing() const { return lastCrossing_; }
  /// The device has played the crossing: the coupled track becomes the loaded one. REQUIRES: crossing().
  void cross();
  /// The position in the loaded track once the device has played `framesPlayed` frames of this run.
  [[nodiscard]] std::int64_t positionAfter(std::int64_t framesPlayed) const;
  /// Calls of render() for all tracks so far, never less than before: whether the unit still pulls.
  [[nodiscard]] std::int64_t renderCycleCount() const;

  /// What to install in an output unit. REQUIRES: the sequence outlives the installation.
  [[nodiscard]] AURenderCallback callback() noexcept { return {&renderCallback, this}; }

  // Render thread.

  /// As AudioRenderContext::render(), across the crossing. REQUIRES: a track is loaded.
  OSStatus render(std::uint32_t frames, AudioBufferList* ioData) noexcept;
  /// An AURenderCallback::Proc; `refCon` is the sequence.
  static OSStatus renderCallback(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept;

 private:
  void leave(std::shared_ptr<AudioRenderContext>& track);
  OSStatus renderAcross(AudioRenderContext& ending, std::int64_t left, std::uint32_t frames,
                        AudioBufferList& list) noexcept;

  static constexpr std::int64_t none = -1;

  // Player's thread: what keeps the tracks alive, and where the run began.
  std::shared_ptr<AudioRenderContext> loaded_;
  std::shared_ptr<AudioRenderContext> following_;  ///< coupled; null when none is
  std::int64_t startPosition_ = 0;                 ///< in the loaded track
  std::int64_t startFrame_ = 0;                    ///< of the run: there the loaded track was at startPosition_
  std::optional<std::int64_t> lastCrossing_;
  std::int64_t earlierCycles_ = 0;  ///< of tracks that are not held any more

  // The render thread's while the unit runs, the player's while it is stopped; starting and stopping order the two.
  AudioRenderContext* current_ = nullptr;
  std::int64_t rendered_ = 0;  ///< frames of this run

  // Atomic.
  std::atomic<AudioRenderContext*> coupled_{nullptr};  ///< null once one of the two threads has taken it
  std::atomic<std::int64_t> crossing_{none};

  static_assert(std::atomic<AudioRenderContext*>::is_always_lock_free);
  static_assert(std::atomic<std::int64_t>::is_always_lock_free);
};

}  // namespace tolvane
