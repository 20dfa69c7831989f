#include "engine/render/PCMOutputLevelProcessor.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>

// Samples are scaled in chunks: loaded into machine words on the stack, scaled there in one loop that vectorises, and
// stored again. This keeps layout (size, byte order, stride) and arithmetic (integer or float, valid bits) apart.

namespace tolvane {
namespace {

constexpr std::size_t kChunk = 256;  ///< samples

/// 4-byte words hold samples of 1 … 4 bytes, 8-byte words larger ones.
template <std::size_t Bytes>
using WordFor = std::conditional_t<Bytes <= 4, std::uint32_t, std::uint64_t>;

template <std::size_t Bytes>
constexpr bool kIsMachineSize = std::has_single_bit(Bytes);

/// The unsigned integer of exactly `Bytes` bytes; for machine word sizes only.
template <std::size_t Bytes>
using Exact = std::conditional_t<
    Bytes == 1, std::uint8_t,
    std::conditional_t<Bytes == 2, std::uint16_t, std::conditional_t<Bytes == 4, std::uint32_t, std::uint64_t>>>;

template <std::size_t Bytes, std::endian Order>
WordFor<Bytes> fetched(const std::byte* sample) noexcept {
  if constexpr (kIsMachineSize<Bytes>) {
    Exact<Bytes> word;
    std::memcpy(&word, sample, Bytes);
    return Order == std::endian::native ? word : std::byteswap(word);
  } else {
    WordFor<Bytes> word = 0;
    for (std::size_t i = 0; i < Bytes; ++i) {
      const std::size_t significance = Order == std::endian::little ? i : Bytes - 1 - i;
      word |= static_cast<WordFor<Bytes>>(sample[i]) << (8 * significance);
    }
    return word;
  }
}

template <std::size_t Bytes, std::endian Order>
void put(std::byte* sample, WordFor<Bytes> word) noexcept {
  if constexpr (kIsMachineSize<Bytes>) {
    auto exact = static_cast<Exact<Bytes>>(word);
    if constexpr (Order != std::endian::native) exact = std::byteswap(exact);
    std::memcpy(sample, &exact, Bytes);
  } else {
    for (std::size_t i = 0; i < Bytes; ++i) {
      const std::size_t significance = Order == std::endian::little ? i : Bytes - 1 - i;
      sample[i] = static_cast<std::byte>(word >> (8 * significance));
    }
  }
}

/// The largest value below one half. Added with the sign of y before truncation, it rounds halves away from zero; 0.5
/// itself would also round up the value just below one half.
constexpr double kAlmostHalf = 0.49999999999999994;

struct IntegerScale {
  double gain;
  std::uint32_t bits;   ///< valid bits
  std::uint32_t shift;  ///< of the valid bits within the word
  bool offsetBinary;

  template <class Word>
  void operator()(Word* words, std::size_t count) const noexcept {
    using Signed = std::make_signed_t<Word>;
    const auto down = static_cast<int>(sizeof(Word) * 8 - bits);
    const int up = down - static_cast<int>(shift);
    const Word field = (~Word{0} >> down) << shift;
    // Offset binary differs from two's complement only in the top bit.
    const Word flip = offsetBinary ? Word{1} << (bits - 1 + shift) : Word{0};
    const auto half = static_cast<double>(std::uint64_t{1} << (bits - 1));
    for (std::size_t i = 0; i < count; ++i) {
      const Word word = words[i];
      const Signed x = static_cast<Signed>((word ^ flip) << up) >> down;
      const double y = gain * static_cast<double>(x);
      const Signed rounded = clipped<Signed>(y + std::copysign(kAlmostHalf, y), half);
      words[i] = (word & ~field) | (((static_cast<Word>(rounded) << shift) & field) ^ flip);
    }
  }

  /// The integer part of `value`, which must be in -half … half - 1.
  template <class Signed>
  static Signed clipped(double value, double half) noexcept {
    if constexpr (sizeof(Signed) == 4) {
      // Both bounds are doubles: no branch, so the loop vectorises.
      const double below = value < half - 1 ? value : half - 1;
      return static_cast<Signed>(below > -half ? below : -half);
    } else {
      // half - 1 may need more than a double's 53 bits.
      const auto lowest = static_cast<Signed>(-half);
      if (!(value < half)) return -(lowest + 1);
      return value > -half ? static_cast<Signed>(value) : lowest;
    }
  }
};

struct FloatScale {
  double gain;

  template <class Word>
  void operator()(Word* words, std::size_t count) const noexcept {
    using Real = std::conditional_t<sizeof(Word) == 4, float, double>;
    const auto narrowed = static_cast<Real>(gain);
    if (narrowed == 0) {  // +0.0, also for negative, infinite and not-a-number samples
      std::fill_n(words, count, Word{0});
      return;
    }
    for (std::size_t i = 0; i < count; ++i) words[i] = std::bit_cast<Word>(std::bit_cast<Real>(words[i]) * narrowed);
  }
};

/// Where the samples that share a gain lie.
struct Run {
  std::byte* first;
  std::size_t count;     ///< samples
  std::size_t distance;  ///< bytes from one to the next
};

template <std::size_t Bytes, std::endian Order, class Scale>
void scaleEvery(const Run& run, auto distance, const Scale& scale) noexcept {
  WordFor<Bytes> words[kChunk];
  std::byte* next = run.first;
  for (std::size_t left = run.count; left > 0;) {
    const std::size_t count = std::min(left, kChunk);
    for (std::size_t i = 0; i < count; ++i) words[i] = fetched<Bytes, Order>(next + i * distance);
    scale(words, count);
    for (std::size_t i = 0; i < count; ++i) put<Bytes, Order>(next + i * distance, words[i]);
    next += count * distance;
    left -= count;
  }
}

template <std::size_t Bytes, class Scale>
void scaleRun(const Run& run, bool bigEndian, const Scale& scale) noexcept {
  const auto inOrder = [&](auto distance) {
    if (bigEndian) {
      scaleEvery<Bytes, std::endian::big>(run, distance, scale);
    } else {
      scaleEvery<Bytes, std::endian::little>(run, distance, scale);
    }
  };
  // A stride known at compile time allows whole-vector loads and stores of adjacent samples.
  if (run.distance == Bytes) {
    inOrder(std::integral_constant<std::size_t, Bytes>{});
  } else {
    inOrder(run.distance);
  }
}

void scaleIntegers(const Run& run, std::uint32_t bytes, bool bigEndian, const IntegerScale& scale) noexcept {
  switch (bytes) {
    case 1:
      return scaleRun<1>(run, bigEndian, scale);
    case 2:
      return scaleRun<2>(run, bigEndian, scale);
    case 3:
      return scaleRun<3>(run, bigEndian, scale);
    case 4:
      return scaleRun<4>(run, bigEndian, scale);
    case 5:
      return scaleRun<5>(run, bigEndian, scale);
    case 6:
      return scaleRun<6>(run, bigEndian, scale);
    case 7:
      return scaleRun<7>(run, bigEndian, scale);
    case 8:
      return scaleRun<8>(run, bigEndian, scale);
    default:
      return;
  }
}

void scaleFloats(const Run& run, std::uint32_t bytes, bool bigEndian, const FloatScale& scale) noexcept {
  switch (bytes) {
    case 4:
      return scaleRun<4>(run, bigEndian, scale);
    case 8:
      return scaleRun<8>(run, bigEndian, scale);
    default:
      return;
  }
}

void scaleSamples(const PCMOutputLevelProcessor& layout, const Run& run, double gain) noexcept {
  if (gain == 1.0) return;
  if (layout.isFloat) {
    scaleFloats(run, layout.bytesPerSample, layout.isBigEndian, {gain});
  } else {
    scaleIntegers(run, layout.bytesPerSample, layout.isBigEndian,
                  {gain, layout.bitsPerSample, layout.bitShift, !layout.isSigned});
  }
}

}  // namespace

std::optional<PCMOutputLevelProcessor> PCMOutputLevelProcessor::make(const AudioStreamBasicDescription& format) {
  const std::uint32_t channels = format.mChannelsPerFrame;
  const std::uint32_t bytesPerFrame = format.mBytesPerFrame;
  const std::uint32_t bits = format.mBitsPerChannel;
  if (format.mFormatID != kAudioFormatLinearPCM) return std::nullopt;
  if ((format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) != 0) return std::nullopt;
  if (bytesPerFrame == 0 || channels == 0) return std::nullopt;
  if (bytesPerFrame % channels != 0 || channels > bytesPerFrame || bytesPerFrame / channels > 8) return std::nullopt;
  const std::uint32_t bytesPerSample = bytesPerFrame / channels;
  if (bits < 1 || bits > 64 || bytesPerSample * 8 < bits) return std::nullopt;
  if (format.isFloat() && ((bits != 32 && bits != 64) || bits != bytesPerSample * 8)) return std::nullopt;

  PCMOutputLevelProcessor processor;
  processor.channels = channels;
  processor.bytesPerFrame = bytesPerFrame;
  processor.bytesPerSample = bytesPerSample;
  processor.bitsPerSample = bits;
  processor.isFloat = format.isFloat();
  processor.isSigned = format.isSignedInteger();
  processor.isBigEndian = format.isBigEndian();
  processor.bitShift = format.isAlignedHigh() ? bytesPerSample * 8 - bits : 0;
  processor.sampleMask = ~std::uint64_t{0} >> (64 - bits);
  return processor;
}

void PCMOutputLevelProcessor::apply(std::byte* samples, std::int64_t frames, OutputLevels levels) const noexcept {
  if (levels.isNeutral() || frames < 1 || channels == 0) return;
  const double volume = std::isfinite(levels.volume) ? levels.volume : 1.0;
  const double balance = std::isfinite(levels.balance) ? levels.balance : 0.0;
  const auto count = static_cast<std::size_t>(frames);
  if (channels == 1 || balance == 0.0) {
    // One gain for all channels: all samples are adjacent.
    return scaleSamples(*this, {samples, count * channels, bytesPerSample}, volume);
  }
  const double left = volume * (1.0 - std::max(balance, 0.0));
  const double right = volume * (1.0 + std::min(balance, 0.0));
  for (std::uint32_t channel = 0; channel < channels; ++channel) {
    const double gain = channel == 0 ? left : channel == 1 ? right : volume;
    scaleSamples(*this, {samples + std::size_t{channel} * bytesPerSample, count, bytesPerFrame}, gain);
  }
}

}  // namespace tolvane
