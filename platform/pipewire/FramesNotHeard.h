#pragma once
// What a sink that is lost takes with it. Pure.

#include <chrono>
#include <cmath>
#include <cstdint>

#include "platform/RunLoop.h"

namespace tolvane {

/// A card moves on in steps: the loopback card by a tick of the kernel (4 ms; 10 ms in kernels with the slowest one),
/// others by a packet or a period. What it was last reported to have left may be older by as much.
inline constexpr RunLoop::Duration longestStep = std::chrono::milliseconds(10);

/// Client frames that the hardware still had to play when its sink went. `delayFrames`, at the graph's rate: what it
/// had to play when the graph last reported it; `since` then it has played on. What is in doubt counts as heard, so
/// that nothing is played twice.
[[nodiscard]] inline std::int64_t framesNotHeard(std::int64_t delayFrames, std::uint32_t graphRate,
                                                 RunLoop::Duration since, std::uint32_t clientRate) {
  if (graphRate == 0) return 0;
  const double left = static_cast<double>(delayFrames) / graphRate - secondsFromDuration(since + longestStep);
  constexpr double rounding = 0.001;  // of a frame
  return left > 0 ? static_cast<std::int64_t>(std::floor(left * clientRate + rounding)) : 0;
}

}  // namespace tolvane
