#pragma once
// Where a FLAC stream lies in its file, and what it says about itself at its start. A plain value.

#include <cstdint>

namespace tolvane {

struct FlacStream {
  std::uint64_t offset = 0;  ///< bytes from the start of the file
  bool isInOgg = false;
  std::uint32_t sampleRate = 0;  ///< hertz
  std::uint32_t channels = 0;
  std::uint32_t bits = 0;
  std::uint32_t largestBlockBytes = 0;  ///< as it lies in the file; a bound, not a measure
  std::uint64_t announcedFrames = 0;    ///< 0 when not known
  std::uint64_t firstFrame = 0;  ///< number of the first frame: not 0 in a stream that was cut out of another one
};

}  // namespace tolvane
