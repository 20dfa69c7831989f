#pragma once
// The decisions of a render loop whose stream the kernel has stopped: how much of its ring nobody has heard, and
// whether trying again still makes sense. Pure; the render thread's. Must not lock, allocate or call the system.

#include <algorithm>
#include <cstdint>

namespace tolvane {

/// Frames in the ring of a stopped stream that have not been played, where `room` is what the kernel calls avail: more
/// than the ring when it ran dry, less when the stream was stopped for another reason (a USB transfer that could not be
/// submitted) with music still in it. Drivers report their position once a period: up to a period that seems left in a
/// stopped stream is on the wire already, and playing it again was heard as a stutter.
[[nodiscard]] constexpr std::int64_t unheardFrames(std::int64_t ringFrames, std::int64_t room,
                                                   std::int64_t periodFrames) {
  const std::int64_t left = std::clamp<std::int64_t>(ringFrames - room, 0, ringFrames);
  return left > periodFrames ? left : 0;
}

/// Whether a stream that keeps stopping is worth another try. A loop that never slept while it tries would be killed
/// under real-time priority.
class AlsaRecoveryPace {
 public:
  enum class Step : std::uint8_t { atOnce, afterAPause, giveUp };

  /// The most tries in a row that may bring no period of sound.
  static constexpr int mostBarrenTries = 5;

  /// What to do about a stream that was heard for `heardFrames` since it was last made ready.
  [[nodiscard]] constexpr Step next(std::int64_t heardFrames, std::int64_t periodFrames) {
    if (heardFrames >= periodFrames) {
      barren_ = 0;
      return Step::atOnce;
    }
    if (barren_ == mostBarrenTries) return Step::giveUp;
    ++barren_;
    return Step::afterAPause;
  }
  constexpr void reset() { barren_ = 0; }

 private:
  int barren_ = 0;
};

}  // namespace tolvane
