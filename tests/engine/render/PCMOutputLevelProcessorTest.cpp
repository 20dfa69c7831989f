#include "engine/render/PCMOutputLevelProcessor.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "tests/engine/render/PcmLayouts.h"

namespace tolvane::test {
namespace {

constexpr std::uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr std::uint32_t kBig = kAudioFormatFlagIsBigEndian;
constexpr std::uint32_t kHigh = kAudioFormatFlagIsAlignedHigh;

/// The samples after scaling; `Sample` is how the machine sees one.
template <class Sample>
std::vector<Sample> scaled(const AudioStreamBasicDescription& format, std::vector<Sample> samples,
                           OutputLevels levels) {
  const auto processor = PCMOutputLevelProcessor::make(format);
  EXPECT_TRUE(processor);
  if (!processor) return {};
  const std::size_t frames = samples.size() * sizeof(Sample) / format.mBytesPerFrame;
  processor->apply(reinterpret_cast<std::byte*>(samples.data()), static_cast<std::int64_t>(frames), levels);
  return samples;
}

using I8 = std::vector<std::int8_t>;
using U8 = std::vector<std::uint8_t>;
using I16 = std::vector<std::int16_t>;
using U16 = std::vector<std::uint16_t>;
using U32 = std::vector<std::uint32_t>;
using I64 = std::vector<std::int64_t>;
using F32 = std::vector<float>;
using F64 = std::vector<double>;

AudioStreamBasicDescription signed16(std::uint32_t channels) {
  return linearPCM(44100, channels, 16, 2, kAudioFormatFlagIsSignedInteger);
}

// Which layouts can be scaled.

AudioStreamBasicDescription described(FourCharCode id, std::uint32_t flags, std::uint32_t bytesPerFrame,
                                      std::uint32_t channels, std::uint32_t bits) {
  return {44100, id, flags, bytesPerFrame, 1, bytesPerFrame, channels, bits, 0};
}

TEST(PCMOutputLevelProcessor, ExistsForTheseLayoutsOnly) {
  constexpr FourCharCode kLpcm = kAudioFormatLinearPCM;
  constexpr std::uint32_t kPlanar = kAudioFormatFlagIsNonInterleaved;
  const struct {
    const char* what;
    AudioStreamBasicDescription format;
    bool exists;
  } cases[] = {
      {"16-bit stereo", described(kLpcm, kAudioFormatFlagIsSignedInteger, 4, 2, 16), true},
      {"8-bit unsigned mono", described(kLpcm, 0, 1, 1, 8), true},
      {"1 bit", described(kLpcm, kAudioFormatFlagIsSignedInteger, 1, 1, 1), true},
      {"64 bits", described(kLpcm, kAudioFormatFlagIsSignedInteger, 8, 1, 64), true},
      {"24 bits in 3 bytes", described(kLpcm, kAudioFormatFlagIsSignedInteger, 6, 2, 24), true},
      {"20 bits high in 3 bytes", described(kLpcm, kAudioFormatFlagIsSignedInteger | kHigh, 3, 1, 20), true},
      {"40 bits in 5 bytes", described(kLpcm, kAudioFormatFlagIsSignedInteger, 10, 2, 40), true},
      {"eight channels", described(kLpcm, kAudioFormatFlagIsSignedInteger, 24, 8, 24), true},
      {"1000 channels", described(kLpcm, kAudioFormatFlagIsSignedInteger, 2000, 1000, 16), true},
      {"float in 4 bytes", described(kLpcm, kFloat, 8, 2, 32), true},
      {"big-endian float in 8 bytes", described(kLpcm, kFloat | kBig, 16, 2, 64), true},
      {"float that also claims to be signed", described(kLpcm, kFloat | kAudioFormatFlagIsSignedInteger, 8, 2, 32),
       true},
      {"another format identifier", described(fourCharCode("alac"), kAudioFormatFlagIsSignedInteger, 4, 2, 16), false},
      {"non-interleaved", described(kLpcm, kAudioFormatFlagIsSignedInteger | kPlanar, 2, 2, 16), false},
      {"no bytes a frame", described(kLpcm, kAudioFormatFlagIsSignedInteger, 0, 2, 16), false},
      {"no channels", described(kLpcm, kAudioFormatFlagIsSignedInteger, 4, 0, 16), false},
      {"nothing at all", described(kLpcm, 0, 0, 0, 0), false},
      {"bytes no multiple of the channels", described(kLpcm, kAudioFormatFlagIsSignedInteger, 5, 2, 16), false},
      {"more channels than bytes", described(kLpcm, kAudioFormatFlagIsSignedInteger, 2, 4, 8), false},
      {"9 bytes a sample", described(kLpcm, kAudioFormatFlagIsSignedInteger, 9, 1, 64), false},
      {"0 bits", described(kLpcm, kAudioFormatFlagIsSignedInteger, 4, 2, 0), false},
      {"65 bits", described(kLpcm, kAudioFormatFlagIsSignedInteger, 8, 1, 65), false},
      {"17 bits in 2 bytes", described(kLpcm, kAudioFormatFlagIsSignedInteger, 4, 2, 17), false},
      {"16-bit float", described(kLpcm, kFloat, 4, 2, 16), false},
      {"24-bit float in 4 bytes", described(kLpcm, kFloat, 8, 2, 24), false},
      {"32-bit float in 8 bytes", described(kLpcm, kFloat, 16, 2, 32), false},
      {"64-bit float in 4 bytes", described(kLpcm, kFloat, 8, 2, 64), false},
  };
  for (const auto& [what, format, exists] : cases) {
    EXPECT_EQ(PCMOutputLevelProcessor::make(format).has_value(), exists) << what;
  }
}

TEST(PCMOutputLevelProcessor, TakesItsFieldsFromTheFormat) {
  EXPECT_EQ(PCMOutputLevelProcessor::make(linearPCM(96000, 6, 20, 3, kAudioFormatFlagIsSignedInteger | kHigh | kBig)),
            (PCMOutputLevelProcessor{.channels = 6,
                                     .bytesPerFrame = 18,
                                     .bytesPerSample = 3,
                                     .bitsPerSample = 20,
                                     .isFloat = false,
                                     .isSigned = true,
                                     .isBigEndian = true,
                                     .bitShift = 4,
                                     .sampleMask = 0xFFFFF}));
  EXPECT_EQ(PCMOutputLevelProcessor::make(linearPCM(96000, 2, 24, 4, 0)),
            (PCMOutputLevelProcessor{.channels = 2,
                                     .bytesPerFrame = 8,
                                     .bytesPerSample = 4,
                                     .bitsPerSample = 24,
                                     .isFloat = false,
                                     .isSigned = false,
                                     .isBigEndian = false,
                                     .bitShift = 0,
                                     .sampleMask = 0xFFFFFF}));
  EXPECT_EQ(PCMOutputLevelProcessor::make(linearPCM(96000, 1, 64, 8, kFloat)),
            (PCMOutputLevelProcessor{.channels = 1,
                                     .bytesPerFrame = 8,
                                     .bytesPerSample = 8,
                                     .bitsPerSample = 64,
                                     .isFloat = true,
                                     .isSigned = false,
                                     .isBigEndian = false,
                                     .bitShift = 0,
                                     .sampleMask = ~std::uint64_t{0}}));
}

// When samples are left alone.

TEST(PCMOutputLevelProcessor, LeavesEveryByteAloneAtNeutralLevels) {
  for (const PcmLayout& layout : allLayouts()) {
    std::vector<std::byte> samples(std::size_t{layout.bytes} * 2 * 64);
    for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = static_cast<std::byte>(i * 37 + 11);
    EXPECT_EQ(scaled(layout.format(2), samples, {1.0, 0.0}), samples) << layout.name();
  }
}

TEST(PCMOutputLevelProcessor, LeavesSamplesAloneWithoutFramesOrChannels) {
  auto processor = PCMOutputLevelProcessor::make(signed16(1)).value();
  std::int16_t sample = 1000;
  for (const std::int64_t frames : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    processor.apply(reinterpret_cast<std::byte*>(&sample), frames, {0.5, 0.0});
    EXPECT_EQ(sample, 1000);
  }
  processor.channels = 0;
  processor.apply(reinterpret_cast<std::byte*>(&sample), 1, {0.5, 0.0});
  EXPECT_EQ(sample, 1000);
}

TEST(PCMOutputLevelProcessor, LeavesBytesBehindTheFramesAlone) {
  const auto processor =
      PCMOutputLevelProcessor::make(linearPCM(44100, 2, 24, 3, kAudioFormatFlagIsSignedInteger)).value();
  std::array<std::byte, 9> bytes{};
  bytes.fill(std::byte{0x40});
  processor.apply(bytes.data(), 1, {0.0, 0.0});
  EXPECT_EQ(bytes, (std::array<std::byte, 9>{std::byte{0}, std::byte{0}, std::byte{0}, std::byte{0}, std::byte{0},
                                             std::byte{0}, std::byte{0x40}, std::byte{0x40}, std::byte{0x40}}));
}

// Which channel gets which gain.

TEST(PCMOutputLevelProcessor, BalanceToTheRightLowersTheLeftChannelOnly) {
  EXPECT_EQ(scaled(signed16(2), I16{1000, 1001, -2000, -2001}, {1.0, 0.5}), (I16{500, 1001, -1000, -2001}));
}

TEST(PCMOutputLevelProcessor, BalanceToTheLeftLowersTheRightChannelOnly) {
  EXPECT_EQ(scaled(signed16(2), I16{1000, 1000}, {1.0, -0.25}), (I16{1000, 750}));
}

TEST(PCMOutputLevelProcessor, FullBalanceSilencesTheOtherSideAndKeepsTheVolumeOnThisOne) {
  EXPECT_EQ(scaled(signed16(2), I16{1000, -1000}, {0.5, -1.0}), (I16{500, 0}));
  EXPECT_EQ(scaled(signed16(2), I16{1000, -1000}, {0.5, 1.0}), (I16{0, -500}));
  EXPECT_EQ(scaled(linearPCM(44100, 2, 8, 1, 0), U8{255, 255, 0, 0}, {1.0, -1.0}), (U8{255, 128, 0, 128}));
}

TEST(PCMOutputLevelProcessor, VolumeAndBalanceMultiply) {
  EXPECT_EQ(scaled(signed16(2), I16{1000, 1000}, {0.5, 0.5}), (I16{250, 500}));
}

TEST(PCMOutputLevelProcessor, MonoHasNoBalance) {
  EXPECT_EQ(scaled(signed16(1), I16{1000, -1000}, {1.0, -1.0}), (I16{1000, -1000}));
  EXPECT_EQ(scaled(signed16(1), I16{1000, -1000}, {0.5, 1.0}), (I16{500, -500}));
}

TEST(PCMOutputLevelProcessor, ChannelsFromTheThirdOnFollowTheVolumeAlone) {
  EXPECT_EQ(scaled(signed16(6), I16{100, 100, 100, 100, 100, 100}, {0.5, 1.0}), (I16{0, 50, 50, 50, 50, 50}));
  EXPECT_EQ(scaled(signed16(6), I16{100, 100, 100, 100, 100, 100}, {1.0, -1.0}), (I16{100, 0, 100, 100, 100, 100}));
}

TEST(PCMOutputLevelProcessor, ALevelThatIsNotFiniteCountsAsNeutral) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(scaled(signed16(2), I16{1000, 1000}, {kNaN, 0.5}), (I16{500, 1000}));
  EXPECT_EQ(scaled(signed16(2), I16{1000, 1000}, {0.5, kInfinity}), (I16{500, 500}));
  EXPECT_EQ(scaled(signed16(2), I16{1000, 1000}, {-kInfinity, kNaN}), (I16{1000, 1000}));
}

// Integers.

TEST(PCMOutputLevelProcessor, RoundsHalvesAwayFromZero) {
  EXPECT_EQ(scaled(signed16(1), I16{3, -3, 1, -1, 0, -32768, 32767}, {0.5, 0.0}),
            (I16{2, -2, 1, -1, 0, -16384, 16384}));
  EXPECT_EQ(scaled(signed16(1), I16{1, -1, 2, -2, 3, -3}, {0.25, 0.0}), (I16{0, 0, 1, -1, 1, -1}));
}

TEST(PCMOutputLevelProcessor, RoundsWhatLiesJustBelowOneHalfToZero) {
  const double justBelow = std::nextafter(0.5, 0.0);
  EXPECT_EQ(scaled(signed16(1), I16{1, -1}, {justBelow, 0.0}), (I16{0, 0}));
  EXPECT_EQ(scaled(linearPCM(44100, 1, 64, 8, kAudioFormatFlagIsSignedInteger), I64{1, -1}, {justBelow, 0.0}),
            (I64{0, 0}));
}

TEST(PCMOutputLevelProcessor, ClipsAtBothEndsOfTheRange) {
  EXPECT_EQ(scaled(signed16(1), I16{32767, -32768, 16384, -16384, -16385}, {2.0, 0.0}),
            (I16{32767, -32768, 32767, -32768, -32768}));
  EXPECT_EQ(scaled(linearPCM(44100, 1, 8, 1, kAudioFormatFlagIsSignedInteger), I8{127, -128, 64}, {100.0, 0.0}),
            (I8{127, -128, 127}));
  EXPECT_EQ(scaled(linearPCM(44100, 1, 8, 1, 0), U8{255, 0, 128}, {100.0, 0.0}), (U8{255, 0, 128}));
  constexpr I64::value_type kMax = std::numeric_limits<std::int64_t>::max();
  constexpr I64::value_type kMin = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(
      scaled(linearPCM(44100, 1, 64, 8, kAudioFormatFlagIsSignedInteger), I64{kMax, kMin, kMax / 2 + 1}, {2.0, 0.0}),
      (I64{kMax, kMin, kMax}));
}

TEST(PCMOutputLevelProcessor, ScalesUnsignedSamplesAboutTheHalfWayCode) {
  const AudioStreamBasicDescription unsigned8 = linearPCM(44100, 1, 8, 1, 0);
  EXPECT_EQ(scaled(unsigned8, U8{128, 255, 0, 129, 127}, {0.5, 0.0}), (U8{128, 192, 64, 129, 127}));
  for (const double volume : {0.0, 0.1, 0.9, 0.999}) {
    EXPECT_EQ(scaled(unsigned8, U8{128}, {volume, 0.0}), U8{128}) << volume;
  }
  EXPECT_EQ(scaled(linearPCM(44100, 1, 16, 2, 0), U16{0, 65535, 32768}, {0.0, 0.0}), (U16{32768, 32768, 32768}));
}

TEST(PCMOutputLevelProcessor, KeepsThePaddingBits) {
  EXPECT_EQ(scaled(linearPCM(44100, 1, 24, 4, kAudioFormatFlagIsSignedInteger | kHigh), U32{0x000100AB, 0xFFFF00CD},
                   {0.5, 0.0}),
            (U32{0x000080AB, 0xFFFF80CD}));
  EXPECT_EQ(
      scaled(linearPCM(44100, 1, 24, 4, kAudioFormatFlagIsSignedInteger), U32{0xAB000100, 0xCDFFFF00}, {0.5, 0.0}),
      (U32{0xAB000080, 0xCDFFFF80}));
  EXPECT_EQ(scaled(linearPCM(44100, 1, 24, 4, 0), U32{0xABFFFFFF}, {0.0, 0.0}), (U32{0xAB800000}));
}

TEST(PCMOutputLevelProcessor, ReadsBigEndianSamplesMostSignificantByteFirst) {
  EXPECT_EQ(scaled(linearPCM(44100, 1, 24, 3, kAudioFormatFlagIsSignedInteger | kBig),
                   U8{0x01, 0x02, 0x04, 0xFF, 0xFF, 0xFE}, {0.5, 0.0}),
            (U8{0x00, 0x81, 0x02, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(scaled(linearPCM(44100, 1, 24, 3, kAudioFormatFlagIsSignedInteger), U8{0x04, 0x02, 0x01, 0xFE, 0xFF, 0xFF},
                   {0.5, 0.0}),
            (U8{0x02, 0x81, 0x00, 0xFF, 0xFF, 0xFF}));
}

TEST(PCMOutputLevelProcessor, LeavesAChannelWithAGainOfOneExactEvenWhereADoubleIsNot) {
  constexpr std::int64_t kOdd = 0x7FFF'FFFF'FFFF'FFFD;
  EXPECT_EQ(scaled(linearPCM(44100, 2, 64, 8, kAudioFormatFlagIsSignedInteger), I64{kOdd, kOdd}, {1.0, 1.0}),
            (I64{0, kOdd}));
}

// Floats.

TEST(PCMOutputLevelProcessor, MultipliesFloatsByTheGainNarrowedToTheirKind) {
  const float tenth = 0.1F;
  EXPECT_EQ(scaled(linearPCM(44100, 1, 32, 4, kFloat), F32{0.3F, -0.7F, 1.0F}, {0.1, 0.0}),
            (F32{0.3F * tenth, -0.7F * tenth, tenth}));
  EXPECT_EQ(scaled(linearPCM(44100, 1, 64, 8, kFloat), F64{0.3, -0.7, 1.0}, {0.1, 0.0}),
            (F64{0.3 * 0.1, -0.7 * 0.1, 0.1}));
}

TEST(PCMOutputLevelProcessor, DoesNotClipFloats) {
  EXPECT_EQ(scaled(linearPCM(44100, 1, 32, 4, kFloat), F32{4.0F, -8.0F}, {0.5, 0.0}), (F32{2.0F, -4.0F}));
}

TEST(PCMOutputLevelProcessor, KeepsDenormalAndInfiniteFloatsWhatMultiplicationMakesOfThem) {
  const float least = std::numeric_limits<float>::denorm_min();
  const float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(scaled(linearPCM(44100, 1, 32, 4, kFloat), F32{4 * least, infinity, -infinity}, {0.5, 0.0}),
            (F32{2 * least, infinity, -infinity}));
}

TEST(PCMOutputLevelProcessor, WritesPositiveZeroAtAGainOfZero) {
  const float nan32 = std::numeric_limits<float>::quiet_NaN();
  const double nan64 = std::numeric_limits<double>::quiet_NaN();
  for (const float value : scaled(linearPCM(44100, 1, 32, 4, kFloat), F32{-1.0F, 1.0F, nan32}, {0.0, 0.0})) {
    EXPECT_EQ(std::bit_cast<std::uint32_t>(value), 0U);
  }
  for (const double value : scaled(linearPCM(44100, 1, 64, 8, kFloat), F64{-1.0, 1.0, nan64}, {0.0, 0.0})) {
    EXPECT_EQ(std::bit_cast<std::uint64_t>(value), 0U);
  }
}

TEST(PCMOutputLevelProcessor, ReadsBigEndianFloats) {
  const std::uint32_t one = std::byteswap(std::bit_cast<std::uint32_t>(1.0F));
  const std::uint32_t half = std::byteswap(std::bit_cast<std::uint32_t>(0.5F));
  EXPECT_EQ(scaled(linearPCM(44100, 1, 32, 4, kFloat | kBig), U32{one}, {0.5, 0.0}), U32{half});
}

}  // namespace
}  // namespace tolvane::test
