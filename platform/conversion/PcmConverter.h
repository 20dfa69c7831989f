#pragma once
// Moves samples from one layout of linear PCM to another, exactly whenever the target can hold the source.
// Made on the player's thread; convert() is for the render thread: it never allocates, locks or calls the system.

#include <cstddef>
#include <cstdint>

#include "platform/conversion/PcmLayout.h"

namespace tolvane {

/// Integers are moved, left-justified, and never sent through floating point; padding bits have no meaning. A narrower
/// integer gets the nearest value, ties to even, clipped. Floating point becomes an integer of b bits by the scale
/// 2^(b-1), nearest, ties to even, clipped, not-a-number as silence. Integers become floating point by 2^-(b-1),
/// rounded once. Between floating-point formats values are kept, also those beyond 1.
class PcmConverter {
 public:
  PcmConverter(const PcmLayout& from, const PcmLayout& to);

  /// REQUIRES: `source` holds `samples` of the first layout, `destination` has room for as many of the second; they
  /// do not overlap, or are the same memory of equal layouts.
  void convert(const std::byte* source, std::byte* destination, std::size_t samples) const noexcept {
    kernel_(plan_, source, destination, samples);
  }

  [[nodiscard]] const PcmLayout& from() const { return plan_.from; }
  [[nodiscard]] const PcmLayout& to() const { return plan_.to; }

  /// What a kernel needs to know, worked out once. Public for the kernels only.
  struct Plan {
    PcmLayout from;
    PcmLayout to;
    unsigned raise = 0;            ///< left shift that brings the source's valid bits to the top of 64
    std::uint64_t validMask = 0;   ///< the source's valid bits, once at the top
    std::uint64_t sourceFlip = 0;  ///< offset binary to two's complement
    std::uint64_t targetFlip = 0;
    unsigned drop = 0;    ///< bits below the target's valid ones: 64 - bits
    unsigned lower = 0;   ///< right shift from the top of 64 to the target's place
    bool rounds = false;  ///< the source has bits that the target has not
    double scale = 0;     ///< floating point to integer: 2^(target bits - 1)
    double maximum = 0;   ///< largest and smallest integer of the target
    double minimum = 0;
  };
  using Kernel = void (*)(const Plan&, const std::byte*, std::byte*, std::size_t) noexcept;

 private:
  Plan plan_;
  Kernel kernel_;
};

}  // namespace tolvane
