#include "platform/conversion/PcmConverter.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace tolvane {
namespace {

using Plan = PcmConverter::Plan;
using Kernel = PcmConverter::Kernel;

constexpr double twoToMinus63 = 0x1p-63;

// Containers. A load gives the container's bits at the bottom of 64, a store takes them from there.

template <unsigned bytes, bool bigEndian>
std::uint64_t load(const std::byte* at) noexcept {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i) {
    value |= std::to_integer<std::uint64_t>(at[bigEndian ? bytes - 1 - i : i]) << 8 * i;
  }
  return value;
}

template <unsigned bytes, bool bigEndian>
void store(std::byte* at, std::uint64_t value) noexcept {
  for (unsigned i = 0; i < bytes; ++i) {
    at[bigEndian ? bytes - 1 - i : i] = static_cast<std::byte>(value >> 8 * i & 0xFF);
  }
}

std::uint64_t loadAny(const PcmLayout& layout, const std::byte* at) noexcept {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < layout.bytes; ++i) {
    value |= std::to_integer<std::uint64_t>(at[layout.bigEndian ? layout.bytes - 1U - i : i]) << 8 * i;
  }
  return value;
}

void storeAny(const PcmLayout& layout, std::byte* at, std::uint64_t value) noexcept {
  for (unsigned i = 0; i < layout.bytes; ++i) {
    at[layout.bigEndian ? layout.bytes - 1U - i : i] = static_cast<std::byte>(value >> 8 * i & 0xFF);
  }
}

// Values. An integer sample travels left-justified in 64 bits: -2^63 is full scale whatever its depth.

std::int64_t justified(const Plan& plan, std::uint64_t container) noexcept {
  return static_cast<std::int64_t>(((container << plan.raise) & plan.validMask) ^ plan.sourceFlip);
}

/// The nearest multiple of 2^drop, ties to even multiples, clipped to the largest one.
std::int64_t rounded(std::int64_t value, unsigned drop) noexcept {
  const std::int64_t whole = value >> drop;
  const auto rest = static_cast<std::uint64_t>(value) & ((std::uint64_t{1} << drop) - 1);
  const std::uint64_t half = std::uint64_t{1} << (drop - 1);
  const bool up = rest > half || (rest == half && (whole & 1) != 0);
  const std::int64_t largest = std::numeric_limits<std::int64_t>::max() >> drop;
  return (whole + (up && whole < largest ? 1 : 0)) << drop;
}

/// The target's container for a left-justified value; sign-extended where the valid bits are at the bottom.
std::uint64_t container(const Plan& plan, std::int64_t value) noexcept {
  if (plan.targetFlip != 0) return (static_cast<std::uint64_t>(value) ^ plan.targetFlip) >> plan.lower;
  return static_cast<std::uint64_t>(value >> plan.lower);
}

std::uint64_t narrowed(const Plan& plan, std::int64_t value) noexcept {
  return container(plan, plan.rounds ? rounded(value, plan.drop) : value);
}

template <typename Float>
Float floatFrom(std::uint64_t bits) noexcept {
  if constexpr (sizeof(Float) == 4) {
    return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  } else {
    return std::bit_cast<double>(bits);
  }
}

double loadFloat(const PcmLayout& layout, const std::byte* at) noexcept {
  const std::uint64_t bits = loadAny(layout, at);
  return layout.bytes == 4 ? static_cast<double>(floatFrom<float>(bits)) : floatFrom<double>(bits);
}

/// A sample of floating point as a left-justified integer that has only the target's bits.
std::int64_t integerFrom(const Plan& plan, double sample) noexcept {
  const double scaled = sample * plan.scale;
  // Written so that not-a-number falls through every comparison to 0.
  if (scaled >= plan.maximum) return std::numeric_limits<std::int64_t>::max() >> plan.drop << plan.drop;
  if (scaled <= plan.minimum) return std::numeric_limits<std::int64_t>::min();
  if (!(scaled > plan.minimum)) return 0;
  double whole = scaled;
  if (std::fabs(scaled) < 0x1p51) {
    // Adding 1.5 * 2^52 leaves no room for a fraction: the sum is the nearest integer, ties to even.
    constexpr double noFraction = 0x1.8p52;
    whole = scaled + noFraction - noFraction;
  } else {
    whole = std::nearbyint(scaled);
  }
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(static_cast<std::int64_t>(whole)) << plan.drop);
}

// Kernels.

void copyBytes(const Plan& plan, const std::byte* source, std::byte* destination, std::size_t samples) noexcept {
  if (source != destination) std::memcpy(destination, source, samples * plan.from.bytes);
}

void integerToIntegerAny(const Plan& plan, const std::byte* source, std::byte* destination,
                         std::size_t samples) noexcept {
  for (std::size_t i = 0; i < samples; ++i, source += plan.from.bytes, destination += plan.to.bytes) {
    storeAny(plan.to, destination, narrowed(plan, justified(plan, loadAny(plan.from, source))));
  }
}

template <unsigned fromBytes, bool fromBig, unsigned toBytes, bool toBig>
void moveInteger(const Plan& given, const std::byte* source, std::byte* destination, std::size_t samples) noexcept {
  const Plan plan = given;  // a copy: the stores below may alias nothing of it
  for (std::size_t i = 0; i < samples; ++i, source += fromBytes, destination += toBytes) {
    store<toBytes, toBig>(destination, container(plan, justified(plan, load<fromBytes, fromBig>(source))));
  }
}

void floatToIntegerAny(const Plan& plan, const std::byte* source, std::byte* destination,
                       std::size_t samples) noexcept {
  for (std::size_t i = 0; i < samples; ++i, source += plan.from.bytes, destination += plan.to.bytes) {
    storeAny(plan.to, destination, container(plan, integerFrom(plan, loadFloat(plan.from, source))));
  }
}

template <typename Float, unsigned toBytes, bool toBig>
void floatToInteger(const Plan& given, const std::byte* source, std::byte* destination, std::size_t samples) noexcept {
  const Plan plan = given;
  for (std::size_t i = 0; i < samples; ++i, source += sizeof(Float), destination += toBytes) {
    const double sample = floatFrom<Float>(load<sizeof(Float), false>(source));
    store<toBytes, toBig>(destination, container(plan, integerFrom(plan, sample)));
  }
}

void integerToFloat(const Plan& plan, const std::byte* source, std::byte* destination, std::size_t samples) noexcept {
  for (std::size_t i = 0; i < samples; ++i, source += plan.from.bytes, destination += plan.to.bytes) {
    const std::int64_t value = justified(plan, loadAny(plan.from, source));
    // One rounding each: the scale is a power of two. By way of double a float would be rounded twice.
    const std::uint64_t bits =
        plan.to.bytes == 4 ? std::bit_cast<std::uint32_t>(static_cast<float>(value) * static_cast<float>(twoToMinus63))
                           : std::bit_cast<std::uint64_t>(static_cast<double>(value) * twoToMinus63);
    storeAny(plan.to, destination, bits);
  }
}

void floatToFloat(const Plan& plan, const std::byte* source, std::byte* destination, std::size_t samples) noexcept {
  for (std::size_t i = 0; i < samples; ++i, source += plan.from.bytes, destination += plan.to.bytes) {
    std::uint64_t bits = loadAny(plan.from, source);
    if (plan.from.bytes != plan.to.bytes) {
      bits = plan.to.bytes == 4 ? std::bit_cast<std::uint32_t>(static_cast<float>(floatFrom<double>(bits)))
                                : std::bit_cast<std::uint64_t>(static_cast<double>(floatFrom<float>(bits)));
    }
    storeAny(plan.to, destination, bits);
  }
}

// Choice of kernel: the containers of common devices get loops of their own, everything else takes the general way.

template <unsigned fromBytes, bool fromBig, unsigned toBytes>
Kernel mover(bool toBig) {
  return toBig ? &moveInteger<fromBytes, fromBig, toBytes, true> : &moveInteger<fromBytes, fromBig, toBytes, false>;
}

template <unsigned fromBytes, bool fromBig>
Kernel mover(const PcmLayout& to) {
  switch (to.bytes) {
    case 2:
      return mover<fromBytes, fromBig, 2>(to.bigEndian);
    case 3:
      return mover<fromBytes, fromBig, 3>(to.bigEndian);
    case 4:
      return mover<fromBytes, fromBig, 4>(to.bigEndian);
    default:
      return &integerToIntegerAny;
  }
}

Kernel mover(const PcmLayout& from, const PcmLayout& to) {
  switch (from.bytes) {
    case 2:
      return from.bigEndian ? mover<2, true>(to) : mover<2, false>(to);
    case 3:
      return from.bigEndian ? mover<3, true>(to) : mover<3, false>(to);
    case 4:
      return from.bigEndian ? mover<4, true>(to) : mover<4, false>(to);
    default:
      return &integerToIntegerAny;
  }
}

template <typename Float>
Kernel quantiser(const PcmLayout& to) {
  switch (to.bytes) {
    case 2:
      return to.bigEndian ? &floatToInteger<Float, 2, true> : &floatToInteger<Float, 2, false>;
    case 3:
      return to.bigEndian ? &floatToInteger<Float, 3, true> : &floatToInteger<Float, 3, false>;
    case 4:
      return to.bigEndian ? &floatToInteger<Float, 4, true> : &floatToInteger<Float, 4, false>;
    default:
      return &floatToIntegerAny;
  }
}

Kernel kernelFor(const Plan& plan) {
  if (sameBytes(plan.from, plan.to)) return &copyBytes;
  if (plan.from.isFloat() && plan.to.isFloat()) return &floatToFloat;
  if (plan.to.isFloat()) return &integerToFloat;
  if (plan.from.isFloat()) {
    if (plan.from.bigEndian) return &floatToIntegerAny;
    return plan.from.bytes == 4 ? quantiser<float>(plan.to) : quantiser<double>(plan.to);
  }
  return plan.rounds ? &integerToIntegerAny : mover(plan.from, plan.to);
}

Plan planFor(const PcmLayout& from, const PcmLayout& to) {
  constexpr std::uint64_t top = std::uint64_t{1} << 63;
  Plan plan;
  plan.from = from;
  plan.to = to;
  if (!from.isFloat()) {
    plan.raise = 64U - (from.alignedHigh ? from.bytes * 8U : from.bits);
    plan.validMask = ~std::uint64_t{0} << (64U - from.bits);
    plan.sourceFlip = from.kind == PcmLayout::Kind::unsignedInteger ? top : 0;
  }
  if (!to.isFloat()) {
    plan.targetFlip = to.kind == PcmLayout::Kind::unsignedInteger ? top : 0;
    plan.drop = 64U - to.bits;
    plan.lower = 64U - (to.alignedHigh ? to.bytes * 8U : to.bits);
    plan.rounds = !from.isFloat() && from.bits > to.bits;
    plan.scale = std::ldexp(1.0, to.bits - 1);
    plan.maximum = plan.scale - 1;  // 2^63 where the target has so many bits that this is no longer representable
    plan.minimum = -plan.scale;
  }
  return plan;
}

}  // namespace

PcmConverter::PcmConverter(const PcmLayout& from, const PcmLayout& to)
    : plan_(planFor(from, to)), kernel_(kernelFor(plan_)) {}

}  // namespace tolvane
