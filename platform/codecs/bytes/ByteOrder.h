#pragma once
// Reads unsigned integers from bytes in a stated order. Pure. REQUIRES of every call: the bytes exist.

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/FourCharCode.h"

namespace tolvane {

template <std::unsigned_integral T>
[[nodiscard]] constexpr T loadInteger(std::span<const std::byte> bytes, std::size_t offset, std::endian order) {
  T value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    const std::size_t place = order == std::endian::big ? i : sizeof(T) - 1 - i;
    value =
        static_cast<T>(static_cast<std::uint64_t>(value) << 8 | std::to_integer<std::uint64_t>(bytes[offset + place]));
  }
  return value;
}

template <std::unsigned_integral T>
[[nodiscard]] constexpr T loadLittle(std::span<const std::byte> bytes, std::size_t offset) {
  return loadInteger<T>(bytes, offset, std::endian::little);
}

template <std::unsigned_integral T>
[[nodiscard]] constexpr T loadBig(std::span<const std::byte> bytes, std::size_t offset) {
  return loadInteger<T>(bytes, offset, std::endian::big);
}

/// Four characters in the order of the file, whatever the order of its integers.
[[nodiscard]] constexpr FourCharCode loadCode(std::span<const std::byte> bytes, std::size_t offset) {
  return loadBig<std::uint32_t>(bytes, offset);
}

}  // namespace tolvane
