#pragma once
// Estimates a device's progress since the render thread last read its position, which it does once per period. Pure.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>

#include "platform/RunLoop.h"

namespace tolvane {

/// What the render thread has read, in frames at `rate` hertz.
struct PositionLook {
  std::int64_t played = 0;
  std::int64_t written = 0;    ///< at least played
  RunLoop::Duration zeroAt{};  ///< when the device would have played the first frame if it had never stalled
  std::int64_t mostAhead = 0;  ///< limit of the estimate beyond `played`: a stalled device plays nothing
  double rate = 0;
};

/// The moment to store for a reading at `now`. One number, so that a reader never mixes two readings.
[[nodiscard]] inline RunLoop::Duration zeroOf(RunLoop::Duration now, std::int64_t played, double rate) {
  return now - durationFromSeconds(static_cast<double>(played) / rate);
}

[[nodiscard]] inline std::int64_t expectedPosition(const PositionLook& look, RunLoop::Duration now) {
  const auto most = std::max(look.played, std::min(look.written, look.played + look.mostAhead));
  const double frames = std::floor(secondsFromDuration(now - look.zeroAt) * look.rate);
  return static_cast<std::int64_t>(std::clamp(frames, static_cast<double>(look.played), static_cast<double>(most)));
}

}  // namespace tolvane
