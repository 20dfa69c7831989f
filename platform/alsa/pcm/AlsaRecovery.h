#pragma once
// The decisions of a render loop whose stream the kernel has stopped: how much of its ring has not been heard, and
// whether to try again. Pure; the render thread's. Must not lock, allocate or call the system.

#include <algorithm>
#include <cstdint>

namespace tolvane {

/// Frames in the ring of a stopped stream that have not been played, where `room` is what the kernel calls avail: more
/// than the ring after an underrun, less if the stream was stopped for another reason (a USB transfer that could not be
/// submitted) with frames left in it. Drivers report their position once per period: up to a period that seems to be
/// left in a stopped stream is already on the wire, and playing it again was heard as a stutter.
[[nodiscard]] constexpr std::int64_t unheardFrames(std::int64_t ringFrames, std::int64_t room,
                                                   std::int64_t periodFrames) {
  const std::int64_t left = std::clamp<std::int64_t>(ringFrames - room, 0, ringFrames);
  return left > periodFrames ? left : 0;
}

/// Whether to retry a stream that keeps stopping. A loop that retries without sleeping would be killed under real-time
/// priority.
class AlsaRecoveryPace {
 public:
  enum class Step : std::uint8_t { atOnce, afterAPause, giveUp };

  /// The most consecutive retries that may play less than a period.
  static constexpr int mostBarrenTries = 5;

  /// What to do about a stream that has played `heardFrames` since it was last prepared.
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
