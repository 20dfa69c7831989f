#include "tests/engine/render/ScalingReference.h"

#include <bit>
#include <cmath>
#include <span>

namespace tolvane::test {
namespace {

double gainOfChannel(std::uint32_t channel, std::uint32_t channels, OutputLevels levels) {
  if (channels == 1 || channel > 1) return levels.volume;
  if (channel == 0) return levels.balance > 0 ? levels.volume * (1 - levels.balance) : levels.volume;
  return levels.balance < 0 ? levels.volume * (1 + levels.balance) : levels.volume;
}

std::uint64_t assembled(std::span<const std::byte> sample, bool bigEndian) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < sample.size(); ++i) {
    const std::byte next = bigEndian ? sample[i] : sample[sample.size() - 1 - i];
    word = word << 8 | static_cast<std::uint64_t>(next);
  }
  return word;
}

void takeApart(std::uint64_t word, std::span<std::byte> sample, bool bigEndian) {
  for (std::size_t i = 0; i < sample.size(); ++i) {
    sample[bigEndian ? sample.size() - 1 - i : i] = static_cast<std::byte>(word & 0xFF);
    word >>= 8;
  }
}

std::uint64_t scaledFloat(std::uint64_t word, std::size_t bytes, double gain) {
  if (bytes == 8) return gain == 0 ? 0 : std::bit_cast<std::uint64_t>(std::bit_cast<double>(word) * gain);
  const auto narrowed = static_cast<float>(gain);
  if (narrowed == 0) return 0;
  return std::bit_cast<std::uint32_t>(std::bit_cast<float>(static_cast<std::uint32_t>(word)) * narrowed);
}

std::uint64_t scaledInteger(std::uint64_t word, const AudioStreamBasicDescription& format, std::size_t bytes,
                            double gain) {
  const std::uint32_t bits = format.mBitsPerChannel;
  const std::uint64_t mask = bits == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << bits) - 1;
  const auto shift = format.isAlignedHigh() ? static_cast<std::uint32_t>(bytes * 8) - bits : 0;
  const std::uint64_t half = std::uint64_t{1} << (bits - 1);
  const std::uint64_t value = (word >> shift) & mask;

  std::uint64_t centred = value;  // two's complement, 64 bits
  if (!format.isSignedInteger()) {
    centred = value - half;
  } else if ((value & half) != 0) {
    centred = value | ~mask;
  }
  const double x = static_cast<double>(static_cast<std::int64_t>(centred));
  const double y = std::round(gain * x);
  const auto limit = static_cast<double>(half);
  std::uint64_t result = 0;
  if (y >= limit) {
    result = half - 1;
  } else if (y <= -limit) {
    result = ~half + 1;
  } else {
    result = static_cast<std::uint64_t>(static_cast<std::int64_t>(y));
  }
  if (!format.isSignedInteger()) result += half;
  return (word & ~(mask << shift)) | ((result & mask) << shift);
}

}  // namespace

std::vector<std::byte> referenceScaled(const AudioStreamBasicDescription& format, std::vector<std::byte> samples,
                                       OutputLevels levels) {
  if (levels.volume == 1 && levels.balance == 0) return samples;
  const std::size_t bytes = format.mBytesPerFrame / format.mChannelsPerFrame;
  for (std::size_t frame = 0; frame < samples.size() / format.mBytesPerFrame; ++frame) {
    for (std::uint32_t channel = 0; channel < format.mChannelsPerFrame; ++channel) {
      const double gain = gainOfChannel(channel, format.mChannelsPerFrame, levels);
      if (gain == 1) continue;
      const std::span sample(samples.data() + frame * format.mBytesPerFrame + channel * bytes, bytes);
      const std::uint64_t word = assembled(sample, format.isBigEndian());
      const std::uint64_t scaled =
          format.isFloat() ? scaledFloat(word, bytes, gain) : scaledInteger(word, format, bytes, gain);
      takeApart(scaled, sample, format.isBigEndian());
    }
  }
  return samples;
}

}  // namespace tolvane::test
