#include "engine/delivery/SampleReading.h"

#include <bit>

namespace tolvane {
namespace {

template <unsigned bytes, bool isBigEndian>
std::uint64_t load(const std::byte* at) {
  std::uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i)
    value |= std::to_integer<std::uint64_t>(at[isBigEndian ? bytes - 1 - i : i]) << (8 * i);
  return value;
}

double floatNumber(std::uint64_t raw, unsigned bytes) {
  return bytes == 4 ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(raw)))
                    : std::bit_cast<double>(raw);
}

std::int64_t leftAligned(double number) {
  if (number >= 1) return INT64_MAX;
  if (number <= -1) return INT64_MIN;
  return number == number ? static_cast<std::int64_t>(number * 0x1p63) : 0;
}

/// Selects the function for the layout, so that the inner loop has constants.
template <typename Convert, typename Value>
void readAll(const SampleForm& form, const std::byte* at, std::span<Value> values, Convert convert) {
  const auto read = [&]<unsigned bytes, bool isBigEndian>() {
    for (Value& value : values) {
      value = convert(load<bytes, isBigEndian>(at));
      at += bytes;
    }
  };
  const auto readOf = [&]<unsigned bytes>() {
    form.isBigEndian ? read.template operator()<bytes, true>() : read.template operator()<bytes, false>();
  };
  switch (form.bytes) {
    case 1:
      return readOf.template operator()<1>();
    case 2:
      return readOf.template operator()<2>();
    case 3:
      return readOf.template operator()<3>();
    case 4:
      return readOf.template operator()<4>();
    case 5:
      return readOf.template operator()<5>();
    case 6:
      return readOf.template operator()<6>();
    case 7:
      return readOf.template operator()<7>();
    default:
      return readOf.template operator()<8>();
  }
}

}  // namespace

std::optional<SampleForm> SampleForm::of(const AudioStreamBasicDescription& format) {
  const std::uint32_t channels = format.mChannelsPerFrame;
  const bool isInterleaved = (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
  if (format.mFormatID != kAudioFormatLinearPCM || !isInterleaved || channels == 0) return std::nullopt;
  const std::uint32_t bytes = format.mBytesPerFrame / channels;
  const std::uint32_t bits = format.mBitsPerChannel;
  if (format.mBytesPerFrame % channels != 0 || bytes < 1 || bytes > 8 || bits < 1 || bits > 8 * bytes)
    return std::nullopt;
  if (format.isFloat() && (bits != 8 * bytes || (bytes != 4 && bytes != 8))) return std::nullopt;
  return SampleForm{.isFloat = format.isFloat(),
                    .isSigned = format.isSignedInteger(),
                    .isBigEndian = format.isBigEndian(),
                    .bytes = bytes,
                    .bits = bits,
                    .padding = format.isAlignedHigh() ? 8 * bytes - bits : 0,
                    .channels = channels};
}

void readLeftAligned(const SampleForm& form, std::span<const std::byte> frames, std::span<std::int64_t> values) {
  if (form.isFloat)
    return readAll(form, frames.data(), values,
                   [&](std::uint64_t raw) { return leftAligned(floatNumber(raw, form.bytes)); });
  const unsigned below = form.padding;
  const unsigned above = 64 - form.bits;
  const std::uint64_t offset = form.isSigned ? 0 : std::uint64_t{1} << 63U;
  readAll(form, frames.data(), values, [below, above, offset](std::uint64_t raw) {
    return static_cast<std::int64_t>((raw >> below << above) ^ offset);
  });
}

void readNumbers(const SampleForm& form, std::span<const std::byte> frames, std::span<double> values) {
  if (form.isFloat)
    return readAll(form, frames.data(), values, [&](std::uint64_t raw) { return floatNumber(raw, form.bytes); });
  const unsigned below = form.padding;
  const unsigned above = 64 - form.bits;
  const std::uint64_t offset = form.isSigned ? 0 : std::uint64_t{1} << 63U;
  readAll(form, frames.data(), values, [below, above, offset](std::uint64_t raw) {
    return static_cast<double>(static_cast<std::int64_t>((raw >> below << above) ^ offset)) * 0x1p-63;
  });
}

}  // namespace tolvane
