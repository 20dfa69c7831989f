// The reading of samples against the conversion that the output units use: written apart, they must agree.

#include "engine/delivery/SampleReading.h"

#include <gtest/gtest.h>

#include "platform/conversion/PcmConverter.h"
#include "tests/engine/render/PcmLayouts.h"
#include "tests/support/SeededRandom.h"

namespace tolvane {
namespace {

constexpr std::size_t samples = 400;

/// Random samples and both ends of the range.
std::vector<std::byte> someSamples(const test::PcmLayout& layout, test::SeededRandom& random) {
  std::vector<std::byte> bytes(samples * layout.bytes);
  const AudioStreamBasicDescription format = layout.format(1);
  if (format.isFloat()) {
    std::vector<std::int32_t> integers(samples);
    for (auto& value : integers) value = static_cast<std::int32_t>(random.next() & 0xFFFFFF00U);
    integers[0] = INT32_MIN;
    integers[1] = 0;
    PcmConverter(integerLayout(32, 4), *pcmLayout(format))
        .convert(std::as_bytes(std::span(integers)).data(), bytes.data(), samples);
    return bytes;
  }
  for (std::byte& byte : bytes) byte = static_cast<std::byte>(random.next());
  for (std::size_t i = 0; i < layout.bytes; ++i) {
    bytes[i] = std::byte{0};
    bytes[layout.bytes + i] = std::byte{0xFF};
  }
  if (format.isAlignedHigh()) {  // what lies below the valid bits is 0 in a file
    std::vector<std::byte> clean(bytes.size());
    const PcmLayout low = integerLayout(layout.bits, layout.bytes, format.isBigEndian(), false,
                                        format.isSignedInteger() ? PcmLayout::Kind::signedInteger
                                                                 : PcmLayout::Kind::unsignedInteger);
    PcmConverter(low, *pcmLayout(format)).convert(bytes.data(), clean.data(), samples);
    return clean;
  }
  return bytes;
}

TEST(SampleReadingTest, AgreesWithEveryExactConversion) {
  test::SeededRandom random(1);
  int pairs = 0;
  for (const test::PcmLayout& source : test::allLayouts()) {
    const auto form = SampleForm::of(source.format(1));
    ASSERT_TRUE(form) << source.name();
    const auto bytes = someSamples(source, random);
    std::vector<std::int64_t> values(samples);
    readLeftAligned(*form, bytes, values);
    for (const test::PcmLayout& target : test::allLayouts()) {
      const auto from = *pcmLayout(source.format(1));
      const auto to = *pcmLayout(target.format(1));
      // A float holds more than its integers; these samples are integers of 24 bits.
      if (!(from.isFloat() ? to.integerBits() >= 24 : isExact(from, to))) continue;
      ++pairs;
      std::vector<std::byte> moved(samples * target.bytes);
      PcmConverter(from, to).convert(bytes.data(), moved.data(), samples);
      std::vector<std::int64_t> movedValues(samples);
      readLeftAligned(*SampleForm::of(target.format(1)), moved, movedValues);
      ASSERT_EQ(values, movedValues) << source.name() << " to " << target.name();
    }
  }
  EXPECT_GT(pairs, 5000);
}

TEST(SampleReadingTest, GivesNumbersWhoseFullScaleIsOne) {
  const std::int16_t integers[] = {-32768, -1, 0, 1, 32767};
  double numbers[5];
  readNumbers(*SampleForm::of(linearPCM(48000, 1, 16, 2, kAudioFormatFlagIsSignedInteger)),
              std::as_bytes(std::span(integers)), numbers);
  EXPECT_EQ(numbers[0], -1.0);
  EXPECT_EQ(numbers[1], -1.0 / 32768);
  EXPECT_EQ(numbers[2], 0.0);
  EXPECT_EQ(numbers[4], 32767.0 / 32768);
  const float floats[] = {1.5F, -0.1F};
  readNumbers(*SampleForm::of(float32PCM(48000, 2)), std::as_bytes(std::span(floats)), std::span(numbers).first(2));
  EXPECT_EQ(numbers[0], 1.5);
  EXPECT_EQ(numbers[1], static_cast<double>(-0.1F));
}

TEST(SampleReadingTest, RefusesWhatIsNotInterleavedPCM) {
  auto format = linearPCM(48000, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  EXPECT_TRUE(SampleForm::of(format));
  format.mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
  EXPECT_FALSE(SampleForm::of(format));
  EXPECT_FALSE(SampleForm::of({}));
  EXPECT_FALSE(SampleForm::of(linearPCM(48000, 2, 17, 2, 0)));
  EXPECT_FALSE(SampleForm::of(linearPCM(48000, 2, 16, 2, kAudioFormatFlagIsFloat)));
  EXPECT_FALSE(SampleForm::of(linearPCM(48000, 1, 64, 9, 0)));
}

}  // namespace
}  // namespace tolvane
