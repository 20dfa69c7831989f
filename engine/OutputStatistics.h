#pragma once
// What went wrong on the way and was made good, counted for diagnosis since the player was created. A plain value.

#include <cstdint>

namespace tolvane {

struct OutputStatistics {
  std::uint64_t underruns = 0;   ///< times a device ran dry
  std::uint64_t recoveries = 0;  ///< times the output was rebuilt
};

}  // namespace tolvane
