#pragma once
// Reads interleaved samples in any linear PCM layout as numbers, to check what was delivered and for waveforms.
// Independent of the conversion that is checked (platform/conversion), so that the two do not share an error. Pure
// functions for any thread; not for the render thread.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/AudioStreamBasicDescription.h"

namespace tolvane {

struct SampleForm {
  bool isFloat = false;
  bool isSigned = true;  ///< integers: signed; false: offset binary
  bool isBigEndian = false;
  std::uint32_t bytes = 0;     ///< of a sample, 1 … 8
  std::uint32_t bits = 0;      ///< valid bits
  std::uint32_t padding = 0;   ///< bits below the valid ones
  std::uint32_t channels = 0;  ///< interleaved

  /// Nothing unless it is interleaved linear PCM of 1 to 8 bytes per sample.
  [[nodiscard]] static std::optional<SampleForm> of(const AudioStreamBasicDescription& format);
  [[nodiscard]] std::size_t frameBytes() const { return std::size_t{bytes} * channels; }
};

/// Each sample with its most significant valid bit in bit 63, so that full scale is the same for every depth. Exact for
/// integers, and for floats that hold an integer of up to 63 bits. Floats beyond full scale are clipped. REQUIRES:
/// `frames` holds as many samples as `values`.
void readLeftAligned(const SampleForm& form, std::span<const std::byte> frames, std::span<std::int64_t> values);

/// Each sample as a number with full scale 1: exact for integers of up to 53 bits and for floats. REQUIRES: as above.
void readNumbers(const SampleForm& form, std::span<const std::byte> frames, std::span<double> values);

}  // namespace tolvane
