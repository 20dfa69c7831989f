#pragma once
// What went wrong on the way and was made good, counted for diagnosis since the player was created. A plain value.

#include <cstdint>

namespace tolvane {

struct OutputStatistics {
  std::uint64_t underruns = 0;          ///< times a device ran dry
  std::uint64_t recoveries = 0;         ///< times the output was rebuilt
  std::uint64_t crossings = 0;          ///< tracks that followed the one before without a gap
  std::int64_t lastCrossingFrame = -1;  ///< of the unit's run: the first frame of the last of them; -1: none yet
};

}  // namespace tolvane
