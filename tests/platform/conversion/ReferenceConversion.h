#pragma once
// What conversion must give, worked out slowly: one bit at a time, integers in 128 bits, floating point taken apart.

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <vector>

#include "platform/conversion/PcmLayout.h"

namespace tolvane::reference {

__extension__ using Wide = __int128;

inline bool bitAt(const PcmLayout& layout, const std::byte* sample, unsigned bitFromLow) {
  const unsigned byte = bitFromLow / 8;
  const unsigned at = layout.bigEndian ? layout.bytes - 1 - byte : byte;
  return (std::to_integer<unsigned>(sample[at]) >> bitFromLow % 8 & 1) != 0;
}

inline void setBit(const PcmLayout& layout, std::byte* sample, unsigned bitFromLow) {
  const unsigned byte = bitFromLow / 8;
  const unsigned at = layout.bigEndian ? layout.bytes - 1 - byte : byte;
  sample[at] |= static_cast<std::byte>(1U << bitFromLow % 8);
}

inline unsigned lowestBit(const PcmLayout& layout) { return layout.alignedHigh ? layout.bytes * 8U - layout.bits : 0; }

/// -2^(bits-1) … 2^(bits-1)-1
inline Wide integerValue(const PcmLayout& layout, const std::byte* sample) {
  Wide value = 0;
  for (unsigned i = 0; i < layout.bits; ++i) {
    if (bitAt(layout, sample, lowestBit(layout) + i)) value += Wide{1} << i;
  }
  if (layout.kind == PcmLayout::Kind::unsignedInteger) return value - (Wide{1} << (layout.bits - 1));
  return value >= Wide{1} << (layout.bits - 1) ? value - (Wide{1} << layout.bits) : value;
}

inline double floatValue(const PcmLayout& layout, const std::byte* sample) {
  std::uint64_t bits = 0;
  for (unsigned i = 0; i < layout.bits; ++i) bits |= std::uint64_t{bitAt(layout, sample, i)} << i;
  if (layout.bytes == 4) {
    const auto narrow = static_cast<std::uint32_t>(bits);
    float value = 0;
    std::memcpy(&value, &narrow, 4);
    return value;
  }
  double value = 0;
  std::memcpy(&value, &bits, 8);
  return value;
}

/// numerator / 2^shift, nearest, ties to even.
inline Wide divided(Wide numerator, unsigned shift) {
  if (shift == 0) return numerator;
  if (shift > 120) return 0;
  const Wide divisor = Wide{1} << shift;
  Wide quotient = numerator / divisor;
  Wide rest = numerator % divisor;
  if (rest < 0) {
    rest += divisor;
    --quotient;
  }
  if (2 * rest > divisor || (2 * rest == divisor && quotient % 2 != 0)) ++quotient;
  return quotient;
}

inline Wide clipped(Wide value, unsigned bits) {
  const Wide full = Wide{1} << (bits - 1);
  return value >= full ? full - 1 : value < -full ? -full : value;
}

inline Wide integerFromFloat(double value, unsigned bits) {
  if (std::isnan(value)) return 0;
  if (value >= 1) return (Wide{1} << (bits - 1)) - 1;
  if (value <= -1) return -(Wide{1} << (bits - 1));
  int exponent = 0;
  const double fraction = std::frexp(value, &exponent);  // value = fraction * 2^exponent, |fraction| in [0.5, 1)
  const auto mantissa = static_cast<std::int64_t>(std::ldexp(fraction, 53));
  const int shift = 53 - exponent - (static_cast<int>(bits) - 1);
  const Wide whole = shift >= 0 ? divided(mantissa, static_cast<unsigned>(shift)) : Wide{mantissa} << -shift;
  return clipped(whole, bits);
}

/// value / 2^(bits-1) with `mantissaBits` bits of precision, ties to even.
inline double floatFromInteger(Wide value, unsigned bits, unsigned mantissaBits) {
  unsigned excess = 0;
  for (Wide size = value < 0 ? -value : value; size >> (mantissaBits + excess) != 0;) ++excess;
  return std::ldexp(static_cast<double>(divided(value, excess)), static_cast<int>(excess) - static_cast<int>(bits) + 1);
}

inline void putInteger(const PcmLayout& layout, Wide value, std::byte* sample) {
  if (layout.kind == PcmLayout::Kind::unsignedInteger) value += Wide{1} << (layout.bits - 1);
  for (unsigned i = 0; i < layout.bits; ++i) {
    if ((value >> i & 1) != 0) setBit(layout, sample, lowestBit(layout) + i);
  }
  const bool extends = layout.kind == PcmLayout::Kind::signedInteger && value < 0;
  for (unsigned i = lowestBit(layout) + layout.bits; extends && i < layout.bytes * 8U; ++i) setBit(layout, sample, i);
}

inline void putFloat(const PcmLayout& layout, double value, std::byte* sample) {
  std::uint64_t bits = 0;
  if (layout.bytes == 4) {
    const auto narrow = static_cast<float>(value);
    std::memcpy(&bits, &narrow, 4);
  } else {
    std::memcpy(&bits, &value, 8);
  }
  for (unsigned i = 0; i < layout.bits; ++i) {
    if ((bits >> i & 1) != 0) setBit(layout, sample, i);
  }
}

inline std::vector<std::byte> convert(const PcmLayout& from, const PcmLayout& to, std::span<const std::byte> source) {
  const std::size_t samples = source.size() / from.bytes;
  std::vector<std::byte> result(samples * to.bytes);
  for (std::size_t i = 0; i < samples; ++i) {
    const std::byte* in = source.data() + i * from.bytes;
    std::byte* out = result.data() + i * to.bytes;
    if (from.isFloat() && to.isFloat()) {
      putFloat(to, floatValue(from, in), out);
    } else if (from.isFloat()) {
      putInteger(to, integerFromFloat(floatValue(from, in), to.bits), out);
    } else if (to.isFloat()) {
      putFloat(to, floatFromInteger(integerValue(from, in), from.bits, to.bytes == 4 ? 24 : 53), out);
    } else if (to.bits >= from.bits) {
      putInteger(to, integerValue(from, in) << (to.bits - from.bits), out);
    } else {
      putInteger(to, clipped(divided(integerValue(from, in), from.bits - to.bits), to.bits), out);
    }
  }
  return result;
}

}  // namespace tolvane::reference
