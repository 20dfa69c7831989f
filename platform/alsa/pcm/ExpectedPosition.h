#pragma once
// How far a device has come since the render thread last asked it, which it does once a period. Pure.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>

#include "platform/RunLoop.h"

namespace tolvane {

/// What the render thread has seen, in frames at `rate` hertz.
struct PositionLook {
  std::int64_t played = 0;
  std::int64_t written = 0;    ///< at least played
  RunLoop::Duration zeroAt{};  ///< when the device would have played the first frame, had it never stood still
  std::int64_t mostAhead = 0;  ///< that is expected beyond `played`: a device that has stalled plays nothing
  double rate = 0;
};

/// The moment to keep of a look at `now`. One number, so that a reader never mixes two looks.
[[nodiscard]] inline RunLoop::Duration zeroOf(RunLoop::Duration now, std::int64_t played, double rate) {
  return now - durationFromSeconds(static_cast<double>(played) / rate);
}

[[nodiscard]] inline std::int64_t expectedPosition(const PositionLook& look, RunLoop::Duration now) {
  const auto most = std::max(look.played, std::min(look.written, look.played + look.mostAhead));
  const double frames = std::floor(secondsFromDuration(now - look.zeroAt) * look.rate);
  return static_cast<std::int64_t>(std::clamp(frames, static_cast<double>(look.played), static_cast<double>(most)));
}

}  // namespace tolvane
