#pragma once
// Which of the frames that a stream has rendered the hardware has played, from what the graph reports in each cycle.
// Pure. Moments are of the kernel's monotonic clock.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>

#include "platform/RunLoop.h"

namespace tolvane {

/// A card moves on in steps: the loopback card by a tick of the kernel (4 ms; 10 ms in kernels with the slowest one),
/// others by a packet or a period. What it was last reported to have left may be older by as much.
inline constexpr RunLoop::Duration longestStep = std::chrono::milliseconds(10);

/// The moment at which the first frame of a run is heard, as a cycle reports it that begins at `now`. `rendered`:
/// client frames of the run before this cycle; `delayFrames`, at the graph's rate: what the hardware still has to play
/// of them. REQUIRES: rates that are not 0.
[[nodiscard]] inline RunLoop::Duration firstFrameHeardAt(RunLoop::Duration now, std::int64_t delayFrames,
                                                         std::uint32_t graphRate, std::int64_t rendered,
                                                         std::uint32_t clientRate) {
  constexpr double nanoseconds = 1e9;  // per second
  const double seconds = static_cast<double>(delayFrames) / graphRate - static_cast<double>(rendered) / clientRate;
  return now + RunLoop::Duration(std::llround(seconds * nanoseconds));
}

/// Client frames of `rendered` that the hardware has played at `now`, when it plays the first at `first`.
[[nodiscard]] inline std::int64_t framesHeard(RunLoop::Duration first, RunLoop::Duration now, std::int64_t rendered,
                                              std::uint32_t clientRate) {
  const double frames = std::floor(secondsFromDuration(now - first) * clientRate);
  return static_cast<std::int64_t>(std::clamp(frames, 0.0, static_cast<double>(rendered)));
}

/// The same of a sink that has gone. What is in doubt counts as heard, so that nothing is played twice.
[[nodiscard]] inline std::int64_t framesHeardAtMost(RunLoop::Duration first, RunLoop::Duration now,
                                                    std::int64_t rendered, std::uint32_t clientRate) {
  constexpr double rounding = 0.001;  // of a frame
  const double frames = std::ceil(secondsFromDuration(now + longestStep - first) * clientRate - rounding);
  return static_cast<std::int64_t>(std::clamp(frames, 0.0, static_cast<double>(rendered)));
}

}  // namespace tolvane
