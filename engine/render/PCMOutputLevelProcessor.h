#pragma once
// Scales interleaved PCM in place, in its own layout, when volume or balance is not neutral. A plain value; apply()
// runs on the render thread and must never allocate, lock, log or make a system call.

#include <cstddef>
#include <cstdint>
#include <optional>

#include "engine/render/OutputLevels.h"
#include "platform/AudioStreamBasicDescription.h"

namespace tolvane {

struct PCMOutputLevelProcessor {
  std::uint32_t channels = 0;
  std::uint32_t bytesPerFrame = 0;   ///< from one frame to the next
  std::uint32_t bytesPerSample = 0;  ///< 1 … 8; channel c starts at byte c × bytesPerSample of a frame
  std::uint32_t bitsPerSample = 0;   ///< the valid bits of a sample, 1 … bytesPerSample × 8
  bool isFloat = false;
  bool isSigned = false;  ///< integers only: signed; false: offset binary, with silence at the half-way code
  bool isBigEndian = false;
  std::uint32_t bitShift = 0;    ///< position of the lowest valid bit in the sample
  std::uint64_t sampleMask = 0;  ///< the valid bits, unshifted

  bool operator==(const PCMOutputLevelProcessor&) const = default;

  /// Nothing if samples of this layout cannot be scaled.
  [[nodiscard]] static std::optional<PCMOutputLevelProcessor> make(const AudioStreamBasicDescription& format);

  /// REQUIRES: `samples` holds `frames` frames. Balance attenuates only the side that it moves away from; the third and
  /// later channels follow the volume alone. Integers are rounded (halves away from zero) and clipped, and keep their
  /// padding. Gains above 1 are legal here; a level that is not finite counts as neutral.
  void apply(std::byte* samples, std::int64_t frames, OutputLevels levels) const noexcept;
};

}  // namespace tolvane
