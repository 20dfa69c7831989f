#pragma once
// Faults that were recovered from, and crossings, counted since the player was created, for diagnosis. A plain value.

#include <cstdint>

namespace tolvane {

struct OutputStatistics {
  std::uint64_t underruns = 0;          ///< times a device ran out of samples
  std::uint64_t recoveries = 0;         ///< times the output was rebuilt
  std::uint64_t crossings = 0;          ///< tracks that followed the previous one without a gap
  std::int64_t lastCrossingFrame = -1;  ///< of the last one: its first frame, in frames of the run; -1: none
};

}  // namespace tolvane
