#pragma once
// The decisions of a render loop whose stream the kernel has stopped: how much of its ring nobody has heard, and
// whether trying again still makes sense. Pure; the render thread's. Must not lock, allocate or call the system.

#include <algorithm>
#include <cstdint>

namespace tolvane {

/// Frames in the ring of a stopped stream that have not been played, where `room` is what the kernel calls avail: more
/// than the ring when it ran dry, less when the stream was stopped for another reason (a USB transfer that could not be
/// submitted) with music still in it.
[[nodiscard]] constexpr std::int64_t unheardFrames(std::int64_t ringFrames, std::int64_t room) {
  return std::clamp<std::int64_t>(ringFrames - room, 0, ringFrames);
}

}  // namespace tolvane
