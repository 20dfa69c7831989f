#pragma once
// The bookkeeping of a ring that a render thread fills and a device empties: what was written, what of it was played,
// what stands in the ring and was not committed, and what must be written again because the ring was prepared anew.
// Pure. Nothing but the constructor allocates. The render thread's; while there is none, the player's.

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
  /// Of them those that were heard, by the last look.
  [[nodiscard]] std::int64_t played() const { return played_; }
  [[nodiscard]] std::int64_t playedSincePrepared() const { return played_ - preparedAt_; }
  /// Frames that stand in the ring behind those written.
  [[nodiscard]] std::int64_t uncommitted() const { return uncommitted_; }
  /// Of the next frame in the ring, 0 … ringFrames - 1.
  [[nodiscard]] std::int64_t place() const { return (written_ - preparedAt_) % ringFrames_; }

  /// A new run: nothing is written, and nothing is to be written again.
  void begin();
  /// The device begins at the ring's first frame.
  void prepare() { preparedAt_ = written_; }

  /// So many frames stand in the ring now behind those written.
  void stand(std::int64_t frames) { uncommitted_ = frames; }
  /// The device has been given so many of them.
  void commit(std::int64_t frames);

  /// A look at a device that plays: so many of the frames written are still to be heard. What was played stays played.
  void lookPlaying(std::int64_t unheard);
  /// A look at one that stands: its position is exact.
  void lookPaused(std::int64_t unheard);

  /// Before a ring is prepared anew: what stands in it and was not heard is written again afterwards, before anything
  /// else. `ring`: its first frame; null: nothing was written to it.
  void keepUnheard(const std::byte* ring);
  /// Copies frames that are to be written again, `frames` at most, to `destination`. How many.
  std::int64_t takeAgain(std::byte* destination, std::int64_t frames);

  /// What the render thread touches.
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
