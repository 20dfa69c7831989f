#pragma once
// The bookkeeping of a ring that a render thread fills and a device empties: frames written, frames played, frames in
// the ring that were not committed, and frames to write again because the ring was prepared anew. Pure. Only the
// constructor allocates. Owned by the render thread; without one, by the player's.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tolvane {

/// Counts device frames since begin().
class RingAccount {
 public:
  /// REQUIRES: both positive.
  RingAccount(std::int64_t ringFrames, std::size_t frameBytes);

  /// Frames that the device was given. Goes back when frames must be written again.
  [[nodiscard]] std::int64_t written() const { return written_; }
  /// Of those, the frames that were heard at the last update.
  [[nodiscard]] std::int64_t played() const { return played_; }
  [[nodiscard]] std::int64_t playedSincePrepared() const { return played_ - preparedAt_; }
  /// Frames in the ring after those written.
  [[nodiscard]] std::int64_t uncommitted() const { return uncommitted_; }
  /// Of the next frame in the ring, 0 … ringFrames - 1.
  [[nodiscard]] std::int64_t place() const { return (written_ - preparedAt_) % ringFrames_; }

  /// Begins a new run: no frames written, none to write again.
  void begin();
  /// The device starts at the ring's first frame.
  void prepare() { preparedAt_ = written_; }

  /// `frames` frames in all are now in the ring after those written.
  void stand(std::int64_t frames) { uncommitted_ = frames; }
  /// `frames` of them have been committed to the device.
  void commit(std::int64_t frames);

  /// Update from a playing device that has still to play `unheard` frames. Frames counted as played stay played.
  void lookPlaying(std::int64_t unheard);
  /// Update from a device that stands still: its position is exact.
  void lookPaused(std::int64_t unheard);

  /// Before a ring is prepared anew: its frames that were not heard will be written again, before anything else.
  /// `ring`: its first frame; null: it was never written to.
  void keepUnheard(const std::byte* ring);
  /// Copies up to `frames` frames that are to be written again to `destination`; returns their number.
  std::int64_t takeAgain(std::byte* destination, std::int64_t frames);

  /// The memory that the render thread uses.
  [[nodiscard]] std::span<std::byte> memory() { return again_; }

 private:
  const std::int64_t ringFrames_;
  const std::size_t frameBytes_;
  std::int64_t written_ = 0;
  std::int64_t played_ = 0;
  std::int64_t uncommitted_ = 0;
  std::int64_t preparedAt_ = 0;  ///< written_ when the ring last began at its first frame
  std::vector<std::byte> again_;
  std::size_t againBytes_ = 0;  ///< of again_, those from againAt_ on are to be written
  std::size_t againAt_ = 0;
};

}  // namespace tolvane
