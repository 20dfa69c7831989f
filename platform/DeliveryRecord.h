#pragma once
// The frames that an output unit hands to its device, for the comparison with the file. A ring between two threads: the
// unit's render thread copies each frame into it as it lies in the device's buffer; the player's thread takes the
// frames that the device has played. The render thread never waits, locks or allocates: if the player's thread is late,
// the rest of the stretch is not recorded.
//
// A run is counted from AudioOutputUnit::start() to stop(). Within one run a unit may change its path to the device: it
// then ends one stretch and begins another.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "platform/AudioStreamBasicDescription.h"
#include "platform/ChannelLayout.h"

namespace tolvane {

class DeliveryRecord {
 public:
  /// How the frames lie in the device's buffer.
  struct Form {
    AudioStreamBasicDescription format;
    ChannelLayout channels;  ///< the loudspeaker of each channel

    bool operator==(const Form&) const = default;
  };
  /// Consecutive frames that the device has played.
  struct Piece {
    std::int64_t frame = 0;  ///< of the run: the first of them
    const Form& form;
    std::span<const std::byte> bytes;
  };

  DeliveryRecord() = default;
  ~DeliveryRecord();
  DeliveryRecord(const DeliveryRecord&) = delete;
  DeliveryRecord& operator=(const DeliveryRecord&) = delete;

  // Player's thread; the unit. REQUIRES: nothing renders.

  /// Begins a stretch. No form: the unit computes new samples (a rate conversion, a mix of channels) and records none.
  /// `bufferFrames`: the most frames that the device buffers.
  void begin(std::optional<Form> form, std::uint32_t bufferFrames);
  /// Ends the stretch, of which the device has played this many frames. Does nothing without a stretch.
  void end(std::int64_t framesPlayed);

  // The unit's render thread. Frames are counted from the beginning of the stretch.

  /// The device was given `count` frames. `frame` goes back if an underrun made the unit hand frames over again.
  void put(std::int64_t frame, const std::byte* bytes, std::uint32_t count) noexcept;
  /// The device has played the frames before this one. Those are not handed over again.
  void setPlayed(std::int64_t frame) noexcept;

  // Player's thread; the engine.

  /// Resets the frame count to 0; frames that were not taken are dropped. REQUIRES: the unit is stopped.
  void beginRun();
  /// Passes on what was played since the last call, in order. A gap between two pieces means missing frames.
  void take(const std::function<void(const Piece&)>& taker);
  /// The unit does not record what it hands over in this stretch, because it computes new samples.
  [[nodiscard]] bool isComputed() const { return isOpen_ && !form_; }

 private:
  struct Ended {
    std::int64_t frame = 0;
    Form form;
    std::vector<std::byte> bytes;
  };

  void takeStretch(std::int64_t until, const std::function<void(const Piece&)>& taker);
  void unlock() noexcept;

  // Player's thread. The ring's memory is constant within a stretch.
  std::optional<Form> form_;
  bool isOpen_ = false;
  std::int64_t runFrame_ = 0;  ///< of the run: where the stretch begins
  std::vector<Ended> ended_;   ///< of earlier stretches, not taken yet

  // Constant within a stretch.
  std::vector<std::byte> ring_;
  std::size_t frameBytes_ = 0;
  std::int64_t capacity_ = 0;  ///< frames; 0: nothing is recorded

  // Render thread while the unit runs.
  std::int64_t written_ = 0;  ///< the next frame that is expected
  bool isFull_ = false;       ///< the player's thread was late, or frames are missing

  // Between both.
  std::atomic<std::int64_t> played_{0};    ///< frames that may be taken
  std::atomic<std::int64_t> recorded_{0};  ///< frames that were written to the ring, possibly overwritten since
  std::atomic<std::int64_t> taken_{0};

  static_assert(std::atomic<std::int64_t>::is_always_lock_free);
};

}  // namespace tolvane
