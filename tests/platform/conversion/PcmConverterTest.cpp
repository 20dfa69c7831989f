#include "platform/conversion/PcmConverter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>

#include "tests/platform/conversion/ReferenceConversion.h"

namespace tolvane {
namespace {

using Kind = PcmLayout::Kind;
using Bytes = std::vector<std::byte>;

/// Every format that a driver may offer.
std::vector<PcmLayout> deviceLayouts() {
  std::vector<PcmLayout> layouts{integerLayout(8, 1), integerLayout(8, 1, false, false, Kind::unsignedInteger)};
  for (const bool big : {false, true}) {
    layouts.push_back(integerLayout(16, 2, big));
    layouts.push_back(integerLayout(16, 2, big, false, Kind::unsignedInteger));
    layouts.push_back(integerLayout(18, 3, big));
    layouts.push_back(integerLayout(20, 3, big));
    layouts.push_back(integerLayout(24, 3, big));
    layouts.push_back(integerLayout(20, 4, big));
    layouts.push_back(integerLayout(24, 4, big));
    layouts.push_back(integerLayout(24, 4, big, false, Kind::unsignedInteger));
    layouts.push_back(integerLayout(32, 4, big));
    layouts.push_back(integerLayout(32, 4, big, false, Kind::unsignedInteger));
    layouts.push_back(floatLayout(4, big));
    layouts.push_back(floatLayout(8, big));
  }
  return layouts;
}

/// Every integer layout that a file may have, and the floats.
std::vector<PcmLayout> clientLayouts() {
  std::vector<PcmLayout> layouts;
  for (unsigned bytes = 1; bytes <= 8; ++bytes) {
    for (const unsigned bits : {1U, bytes * 8 - 7, bytes * 8 - 4, bytes * 8}) {
      for (const bool big : {false, true}) {
        for (const bool high : {false, true}) {
          for (const Kind kind : {Kind::signedInteger, Kind::unsignedInteger}) {
            const PcmLayout layout = integerLayout(bits, bytes, big, high, kind);
            if (std::ranges::find(layouts, layout) == layouts.end()) layouts.push_back(layout);
          }
        }
      }
    }
  }
  for (const bool big : {false, true}) {
    layouts.push_back(floatLayout(4, big));
    layouts.push_back(floatLayout(8, big));
  }
  return layouts;
}

Bytes randomBytes(std::size_t count, std::mt19937_64& random) {
  Bytes bytes(count);
  for (auto& byte : bytes) byte = static_cast<std::byte>(random());
  return bytes;
}

template <typename Float>
void append(Bytes& bytes, Float value, bool big) {
  std::array<std::byte, sizeof(Float)> raw{};
  std::memcpy(raw.data(), &value, sizeof value);
  if (big) std::ranges::reverse(raw);
  bytes.insert(bytes.end(), raw.begin(), raw.end());
}

/// Values around the quantisation steps of every depth, beyond full scale, and none at all.
Bytes tellingFloats(const PcmLayout& layout, std::size_t count, std::mt19937_64& random) {
  Bytes bytes;
  const auto put = [&](double value) {
    if (layout.bytes == 4) append(bytes, static_cast<float>(value), layout.bigEndian);
    if (layout.bytes == 8) append(bytes, value, layout.bigEndian);
  };
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double value : {0.0, -0.0, 1.0, -1.0, 1.5, -1.5, 1e30, -1e30, 1e-40, 5e-324, infinity, -infinity,
                             std::numeric_limits<double>::quiet_NaN(), std::nextafter(1.0, 0.0),
                             std::nextafter(-1.0, 0.0), 0.999999940395355224609375}) {
    put(value);
  }
  std::uniform_real_distribution<double> loud(-1.25, 1.25);
  for (std::size_t i = 0; i < count; ++i) {
    const int depth = static_cast<int>(random() % 33);
    const auto step = static_cast<double>(static_cast<std::int64_t>(random()) >> (63 - depth));
    switch (random() % 3) {
      case 0:
        put(std::ldexp(step + 0.5, -depth));
        break;  // a tie of that depth
      case 1:
        put(std::ldexp(step, -depth));
        break;
      default:
        put(loud(random));
        break;
    }
  }
  return bytes;
}

Bytes converted(const PcmLayout& from, const PcmLayout& to, const Bytes& source) {
  const std::size_t samples = source.size() / from.bytes;
  Bytes result(samples * to.bytes, std::byte{0xAA});
  PcmConverter(from, to).convert(source.data(), result.data(), samples);
  return result;
}

/// The bytes may differ only where padding was passed on as it is, or in the payload of a not-a-number.
void expectSameSamples(const PcmLayout& from, const PcmLayout& to, const Bytes& source) {
  const Bytes product = converted(from, to, source);
  const Bytes expected = reference::convert(from, to, source);
  ASSERT_EQ(product.size(), expected.size());
  if (product == expected) return;
  for (std::size_t i = 0; i < product.size() / to.bytes; ++i) {
    const std::byte* got = product.data() + i * to.bytes;
    const std::byte* wanted = expected.data() + i * to.bytes;
    if (std::memcmp(got, wanted, to.bytes) == 0) continue;
    if (sameBytes(from, to)) {
      ASSERT_EQ(0, std::memcmp(got, source.data() + i * from.bytes, to.bytes));
      if (!to.isFloat()) {
        PcmLayout masked = to;
        masked.bits = from.bits;
        masked.alignedHigh = from.alignedHigh;
        ASSERT_TRUE(reference::integerValue(from, source.data() + i * from.bytes) ==
                    reference::integerValue(masked, got));
      }
      continue;
    }
    ASSERT_TRUE(to.isFloat() && std::isnan(reference::floatValue(to, got)) &&
                std::isnan(reference::floatValue(to, wanted)))
        << layoutText(from) << " -> " << layoutText(to) << ", sample " << i;
  }
}

TEST(PcmConverter, AgreesWithTheReferenceForEveryPairOfLayouts) {
  std::mt19937_64 random(20240613);
  for (const PcmLayout& from : clientLayouts()) {
    const Bytes source = from.isFloat() ? tellingFloats(from, 400, random) : randomBytes(400U * from.bytes, random);
    for (const PcmLayout& to : deviceLayouts()) {
      SCOPED_TRACE(layoutText(from) + " -> " + layoutText(to));
      ASSERT_NO_FATAL_FAILURE(expectSameSamples(from, to, source));
    }
  }
}

TEST(PcmConverter, AgreesWithTheReferenceForAllSixteenBitValues) {
  Bytes source;
  for (unsigned value = 0; value < 0x10000; ++value) {
    source.push_back(static_cast<std::byte>(value));
    source.push_back(static_cast<std::byte>(value >> 8));
  }
  for (const unsigned bits : {11U, 16U}) {
    for (const Kind kind : {Kind::signedInteger, Kind::unsignedInteger}) {
      for (const bool high : {false, true}) {
        for (const bool big : {false, true}) {
          const PcmLayout from = integerLayout(bits, 2, big, high, kind);
          for (const PcmLayout& to : deviceLayouts()) {
            SCOPED_TRACE(layoutText(from) + " -> " + layoutText(to));
            ASSERT_NO_FATAL_FAILURE(expectSameSamples(from, to, source));
          }
        }
      }
    }
  }
}

TEST(PcmConverter, AgreesWithTheReferenceForAllEightBitValues) {
  Bytes source;
  for (unsigned value = 0; value < 0x100; ++value) source.push_back(static_cast<std::byte>(value));
  for (unsigned bits = 1; bits <= 8; ++bits) {
    for (const Kind kind : {Kind::signedInteger, Kind::unsignedInteger}) {
      for (const bool high : {false, true}) {
        const PcmLayout from = integerLayout(bits, 1, false, high, kind);
        for (const PcmLayout& to : deviceLayouts()) {
          SCOPED_TRACE(layoutText(from) + " -> " + layoutText(to));
          ASSERT_NO_FATAL_FAILURE(expectSameSamples(from, to, source));
        }
      }
    }
  }
}

class PcmConverterPairs : public testing::TestWithParam<std::pair<PcmLayout, PcmLayout>> {};

TEST_P(PcmConverterPairs, AgreeWithTheReferenceForAMillionRandomSamples) {
  const auto& [from, to] = GetParam();
  std::mt19937_64 random(from.bits * 1000U + to.bits);
  const Bytes source =
      from.isFloat() ? tellingFloats(from, 1'000'000, random) : randomBytes(1'000'000U * from.bytes, random);
  ASSERT_NO_FATAL_FAILURE(expectSameSamples(from, to, source));
}

INSTANTIATE_TEST_SUITE_P(
    Common, PcmConverterPairs,
    testing::Values(std::pair(integerLayout(24, 3), integerLayout(32, 4)),
                    std::pair(integerLayout(24, 3, true), integerLayout(24, 4)),
                    std::pair(integerLayout(24, 3), integerLayout(16, 2)),
                    std::pair(integerLayout(20, 3, false, true), integerLayout(24, 3)),
                    std::pair(integerLayout(24, 4, false, true), integerLayout(24, 3)),
                    std::pair(integerLayout(32, 4), integerLayout(24, 4)),
                    std::pair(integerLayout(32, 4, true), integerLayout(32, 4)),
                    std::pair(integerLayout(32, 4), floatLayout(4)), std::pair(integerLayout(64, 8), floatLayout(8)),
                    std::pair(integerLayout(64, 8), integerLayout(32, 4)),
                    std::pair(floatLayout(4), integerLayout(16, 2)), std::pair(floatLayout(4), integerLayout(24, 3)),
                    std::pair(floatLayout(4), integerLayout(24, 4)), std::pair(floatLayout(4), integerLayout(32, 4)),
                    std::pair(floatLayout(8), integerLayout(32, 4)), std::pair(floatLayout(8), floatLayout(4)),
                    std::pair(floatLayout(8, true), integerLayout(24, 3, true))),
    [](const auto& param) {
      std::string name = layoutText(param.param.first) + " to " + layoutText(param.param.second);
      std::erase_if(name, [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; });
      return name;
    });

Bytes literal(std::initializer_list<unsigned> values) {
  Bytes bytes;
  for (const unsigned value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

TEST(PcmConverter, MovesIntegersAsWritten) {
  EXPECT_EQ(converted(integerLayout(16, 2), integerLayout(24, 3), literal({0x34, 0x12, 0x01, 0x80})),
            literal({0x00, 0x34, 0x12, 0x00, 0x01, 0x80}));
  EXPECT_EQ(converted(integerLayout(16, 2, true), integerLayout(32, 4), literal({0x12, 0x34})),
            literal({0x00, 0x00, 0x34, 0x12}));
  EXPECT_EQ(converted(integerLayout(24, 3), integerLayout(24, 4), literal({0x56, 0x34, 0x92})),
            literal({0x56, 0x34, 0x92, 0xFF}));
  EXPECT_EQ(converted(integerLayout(24, 4, false, true), integerLayout(24, 3), literal({0xEE, 0x56, 0x34, 0x12})),
            literal({0x56, 0x34, 0x12}));
  EXPECT_EQ(converted(integerLayout(8, 1, false, false, Kind::unsignedInteger), integerLayout(16, 2),
                      literal({0x80, 0x00, 0xFF})),
            literal({0x00, 0x00, 0x00, 0x80, 0x00, 0x7F}));
  EXPECT_EQ(converted(integerLayout(20, 3, true, true), integerLayout(32, 4), literal({0x80, 0x00, 0x10})),
            literal({0x00, 0x10, 0x00, 0x80}));
}

TEST(PcmConverter, RoundsToTheNearestAndClipsWhereTheDeviceIsNarrower) {
  // 0x7FFF80 is a tie whose even neighbour would be 0x8000: clipped. 0x000080 goes to 0, 0x000180 to 2.
  EXPECT_EQ(converted(integerLayout(24, 3), integerLayout(16, 2),
                      literal({0x80, 0xFF, 0x7F, 0x80, 0x00, 0x00, 0x80, 0x01, 0x00, 0x81, 0x00, 0x00})),
            literal({0xFF, 0x7F, 0x00, 0x00, 0x02, 0x00, 0x01, 0x00}));
}

TEST(PcmConverter, BringsEveryTwentyFourBitIntegerThroughFloatUnharmed) {
  const PcmConverter toFloat(integerLayout(24, 3), floatLayout(4));
  const PcmConverter back(floatLayout(4), integerLayout(24, 3));
  constexpr std::size_t all = std::size_t{1} << 24;
  Bytes source(all * 3);
  for (std::size_t value = 0; value < all; ++value) {
    for (std::size_t i = 0; i < 3; ++i) source[value * 3 + i] = static_cast<std::byte>(value >> 8 * i);
  }
  Bytes floats(all * 4);
  Bytes result(all * 3);
  toFloat.convert(source.data(), floats.data(), all);
  back.convert(floats.data(), result.data(), all);
  EXPECT_EQ(result, source);
}

TEST(PcmConverter, PassesAFloatOnUntouchedAlsoBeyondFullScale) {
  Bytes source;
  for (const float value : {1.5F, -3.0F, 0.1F, -0.0F}) append(source, value, false);
  EXPECT_EQ(converted(floatLayout(4), floatLayout(4), source), source);
}

}  // namespace
}  // namespace tolvane
