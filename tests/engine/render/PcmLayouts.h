#pragma once
// The layouts that samples can have, as a table for tests.

#include <string>
#include <vector>

#include "platform/AudioStreamBasicDescription.h"

namespace tolvane::test {

struct PcmLayout {
  std::uint32_t bits;
  std::uint32_t bytes;
  std::uint32_t flags;

  [[nodiscard]] AudioStreamBasicDescription format(std::uint32_t channels) const {
    return linearPCM(48000, channels, bits, bytes, flags);
  }

  /// "24 bits in 4 bytes, signed, big-endian, high"
  [[nodiscard]] std::string name() const {
    const auto has = [this](std::uint32_t flag) { return (flags & flag) != 0; };
    return std::to_string(bits) + " bits in " + std::to_string(bytes) + " bytes, " +
           (has(kAudioFormatFlagIsFloat)           ? "float"
            : has(kAudioFormatFlagIsSignedInteger) ? "signed"
                                                   : "unsigned") +
           (has(kAudioFormatFlagIsBigEndian) ? ", big-endian" : ", little-endian") +
           (has(kAudioFormatFlagIsAlignedHigh) ? ", high" : ", low");
  }
};

/// Integers of `bits` in `bytes`: signed and unsigned, in both byte orders and, where there is padding, at both ends.
inline std::vector<PcmLayout> integerLayouts(std::uint32_t bits, std::uint32_t bytes) {
  std::vector<PcmLayout> layouts;
  for (const std::uint32_t sign : {kAudioFormatFlagIsSignedInteger, 0U}) {
    for (const std::uint32_t order : {0U, kAudioFormatFlagIsBigEndian}) {
      layouts.push_back({bits, bytes, sign | order});
      if (bits < bytes * 8) layouts.push_back({bits, bytes, sign | order | kAudioFormatFlagIsAlignedHigh});
    }
  }
  return layouts;
}

inline std::vector<PcmLayout> floatLayouts() {
  std::vector<PcmLayout> layouts;
  for (const std::uint32_t order : {0U, kAudioFormatFlagIsBigEndian}) {
    layouts.push_back({32, 4, kAudioFormatFlagIsFloat | order});
    layouts.push_back({64, 8, kAudioFormatFlagIsFloat | order});
  }
  return layouts;
}

/// Every size of sample, with and without padding, and the widths at which arithmetic changes its nature.
inline std::vector<PcmLayout> allLayouts() {
  constexpr struct {
    std::uint32_t bits, bytes;
  } kIntegers[] = {{1, 1},  {4, 1},  {8, 1},  {12, 2}, {16, 2}, {16, 3}, {18, 3}, {20, 3}, {24, 3}, {16, 4},
                   {20, 4}, {24, 4}, {31, 4}, {32, 4}, {24, 5}, {32, 5}, {33, 5}, {40, 5}, {48, 6}, {52, 7},
                   {53, 7}, {54, 7}, {56, 7}, {24, 8}, {32, 8}, {48, 8}, {63, 8}, {64, 8}};
  std::vector<PcmLayout> layouts = floatLayouts();
  for (const auto& [bits, bytes] : kIntegers) {
    const std::vector<PcmLayout> integers = integerLayouts(bits, bytes);
    layouts.insert(layouts.end(), integers.begin(), integers.end());
  }
  return layouts;
}

}  // namespace tolvane::test
