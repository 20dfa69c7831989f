// The product's scaling against the plain rules, over every 8- and 16-bit value and many random wider ones.

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>

#include "engine/render/PCMOutputLevelProcessor.h"
#include "tests/engine/render/PcmLayouts.h"
#include "tests/engine/render/ScalingReference.h"

namespace tolvane::test {
namespace {

using Bytes = std::vector<std::byte>;

/// Levels as the user can set them (floats widened), at and around every special gain, and some that only apply()
/// takes.
const OutputLevels kLevels[] = {
    {0.5, 0.0},
    {0.0, 0.0},
    {0.7079457640647888, 0.0},
    {0.30000001192092896, 0.25},
    {0.9999999403953552, 0.0},
    {1.0, 0.5},
    {1.0, -0.10000000149011612},
    {0.800000011920929, -1.0},
    {0.25, 1.0},
    {1.1754943508222875e-38, 0.3333333432674408},
    {1.401298464324817e-45, 0.75},
    {1.0, 1.401298464324817e-45},
    {0.49999999999999994, 0.0},
    {2.0, -0.25},
    {-1.5, 0.5},
};

void expectScaledAsByTheRules(const PcmLayout& layout, std::uint32_t channels, const Bytes& samples,
                              OutputLevels levels) {
  const AudioStreamBasicDescription format = layout.format(channels);
  const auto processor = PCMOutputLevelProcessor::make(format);
  ASSERT_TRUE(processor) << layout.name();
  const Bytes expected = referenceScaled(format, samples, levels);
  Bytes actual = samples;
  processor->apply(actual.data(), static_cast<std::int64_t>(actual.size() / format.mBytesPerFrame), levels);
  if (actual == expected) return;
  const auto at =
      static_cast<std::size_t>(std::mismatch(actual.begin(), actual.end(), expected.begin()).first - actual.begin());
  FAIL() << layout.name() << ", " << channels << " channels, volume " << levels.volume << ", balance " << levels.balance
         << ": byte " << at << " was " << static_cast<int>(samples[at]) << ", became " << static_cast<int>(actual[at])
         << " instead of " << static_cast<int>(expected[at]);
}

/// All values of an 8- or 16-bit container, repeated up to a whole number of frames and a bit more.
Bytes everyValue(std::uint32_t bytes, std::uint32_t channels) {
  const std::size_t values = std::size_t{1} << (8 * bytes);
  const std::size_t samples = (values + channels - 1) / channels * channels;
  Bytes result(samples * bytes);
  for (std::size_t i = 0; i < samples; ++i) std::memcpy(result.data() + i * bytes, &i, bytes);
  return result;
}

/// Random samples, of which every fourth is one of the values at which a rule may turn.
Bytes randomSamples(const PcmLayout& layout, std::size_t count, std::mt19937_64& random) {
  const std::uint64_t half = std::uint64_t{1} << (layout.bits - 1);
  const std::uint64_t turns[] = {0, 1, 2, 3, ~std::uint64_t{0}, half, half - 1, half + 1, half + 3, half / 2};
  const std::uint32_t shift = (layout.flags & kAudioFormatFlagIsAlignedHigh) != 0 ? layout.bytes * 8 - layout.bits : 0;
  Bytes result(count * layout.bytes);
  for (std::size_t i = 0; i < count; ++i) {
    std::uint64_t word = random();
    if (i % 4 == 3) word = turns[word % std::size(turns)] << shift | (word >> 60 & ((std::uint64_t{1} << shift) - 1));
    for (std::uint32_t byte = 0; byte < layout.bytes; ++byte) {
      const bool bigEndian = (layout.flags & kAudioFormatFlagIsBigEndian) != 0;
      const std::uint32_t place = bigEndian ? layout.bytes - 1 - byte : byte;
      result[i * layout.bytes + place] = static_cast<std::byte>(word >> (8 * byte) & 0xFF);
    }
  }
  return result;
}

TEST(Scaling, GivesEveryEightAndSixteenBitValueWhatTheRulesGive) {
  for (const auto& [bits, bytes] : {std::pair{8U, 1U}, std::pair{16U, 2U}}) {
    for (const PcmLayout& layout : integerLayouts(bits, bytes)) {
      for (const std::uint32_t channels : {1U, 2U, 3U}) {
        const Bytes samples = everyValue(bytes, channels);
        for (const OutputLevels levels : kLevels) expectScaledAsByTheRules(layout, channels, samples, levels);
      }
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Scaling, GivesEveryPaddedValueInTwoBytesWhatTheRulesGive) {
  for (const std::uint32_t bits : {1U, 8U, 12U, 15U}) {
    for (const PcmLayout& layout : integerLayouts(bits, 2)) {
      for (const OutputLevels levels : kLevels) expectScaledAsByTheRules(layout, 2, everyValue(2, 2), levels);
      if (HasFatalFailure()) return;
    }
  }
}

TEST(Scaling, RoundsEverySixteenBitValueByTheRulesAtManyGains) {
  const Bytes samples = everyValue(2, 1);
  std::mt19937_64 random(1);
  for (int turn = 0; turn < 100; ++turn) {
    const double volume = std::uniform_real_distribution<float>(0, 1)(random);
    expectScaledAsByTheRules({16, 2, kAudioFormatFlagIsSignedInteger}, 1, samples, {volume, 0});
  }
}

TEST(Scaling, GivesMillionsOfRandomSamplesOfEveryLayoutWhatTheRulesGive) {
  std::mt19937_64 random(2);
  for (const PcmLayout& layout : allLayouts()) {
    const Bytes samples = randomSamples(layout, 840, random);  // 840 samples are whole frames of 1 … 8 channels
    for (std::uint32_t channels = 1; channels <= 8; ++channels) {
      for (const OutputLevels levels : kLevels) expectScaledAsByTheRules(layout, channels, samples, levels);
    }
    if (HasFatalFailure()) return;
  }
}

TEST(Scaling, GivesMillionsOfRandomStereoSamplesOfTheUsualLayoutsWhatTheRulesGive) {
  std::mt19937_64 random(3);
  std::vector<PcmLayout> layouts = floatLayouts();
  for (const auto& [bits, bytes] : {std::pair{20U, 3U}, {24U, 3U}, {24U, 4U}, {32U, 4U}, {64U, 8U}}) {
    const std::vector<PcmLayout> integers = integerLayouts(bits, bytes);
    layouts.insert(layouts.end(), integers.begin(), integers.end());
  }
  for (const PcmLayout& layout : layouts) {
    for (int turn = 0; turn < 8; ++turn) {
      const double volume = std::uniform_real_distribution<float>(0, 1)(random);
      const double balance = turn % 2 == 0 ? 0.0 : std::uniform_real_distribution<float>(-1, 1)(random);
      expectScaledAsByTheRules(layout, 2, randomSamples(layout, 20000, random), {volume, balance});
    }
    if (HasFatalFailure()) return;
  }
}

TEST(Scaling, GivesAnyNumberOfFramesWhatTheRulesGive) {
  std::mt19937_64 random(4);
  for (const PcmLayout& layout : {PcmLayout{16, 2, kAudioFormatFlagIsSignedInteger}, PcmLayout{24, 3, 0},
                                  PcmLayout{32, 4, kAudioFormatFlagIsFloat}}) {
    for (std::size_t frames = 1; frames <= 600; ++frames) {
      const Bytes samples = randomSamples(layout, frames * 2, random);
      expectScaledAsByTheRules(layout, 2, samples, {0.5, 0});
      expectScaledAsByTheRules(layout, 2, samples, {0.5, 0.5});
    }
    if (HasFatalFailure()) return;
  }
}

}  // namespace
}  // namespace tolvane::test
