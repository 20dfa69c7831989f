#include "platform/conversion/ChannelMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <set>

#include "platform/conversion/MixWeights.h"
#include "platform/conversion/RenderPipeline.h"

namespace tolvane {
namespace {

using enum ChannelPosition;
using Positions = std::vector<ChannelPosition>;

/// The bytes of a sample of channel c: another constant for each channel, each byte of it another one.
std::byte sampleByte(std::uint32_t channel, std::uint32_t byte) {
  return static_cast<std::byte>(1 + channel * 16 + byte);
}

/// A source in whose every frame channel c is the constant of channel c.
struct Constants {
  AudioStreamBasicDescription format;

  static OSStatus render(void* self, std::uint32_t frames, AudioBufferList* list) noexcept {
    const auto& format = static_cast<Constants*>(self)->format;
    auto* out = static_cast<std::byte*>(list->mBuffers[0].mData);
    const std::uint32_t bytes = format.mBytesPerFrame / format.mChannelsPerFrame;
    for (std::uint32_t f = 0; f < frames; ++f)
      for (std::uint32_t c = 0; c < format.mChannelsPerFrame; ++c)
        for (std::uint32_t b = 0; b < bytes; ++b) *out++ = sampleByte(c, b);
    return noErr;
  }
};

/// What a device with these positions gets of the source, frame for frame.
std::vector<std::byte> heard(const PcmLayout& layout, const ChannelLayout& source, const ChannelLayout& device,
                             std::uint32_t frames) {
  Constants constants{describe(layout, 48000, source.channelCount())};
  auto pipeline = RenderPipeline::make({constants.format, layout, device.channelCount(), 48000, source, device});
  if (!pipeline || !pipeline->reset({&Constants::render, &constants})) return {};
  std::vector<std::byte> bytes(std::size_t{frames} * device.channelCount() * layout.bytes, std::byte{0xEE});
  EXPECT_EQ(pipeline->render(bytes.data(), frames), noErr);
  return bytes;
}

/// The source's channel at this position, or nothing.
std::optional<std::uint32_t> channelAt(const ChannelLayout& layout, ChannelPosition position) {
  const auto found = std::ranges::find(layout.positions, position);
  if (found == layout.positions.end()) return std::nullopt;
  return static_cast<std::uint32_t>(found - layout.positions.begin());
}

constexpr std::uint32_t masks[] = {0x7, 0xB, 0x33, 0x107, 0xF, 0x37, 0x607, 0x3F, 0x60F, 0x13F, 0x70F, 0x63F, 0xFF};

TEST(ChannelMap, MovesEveryChannelToItsPositionBitForBit) {
  int cases = 0;
  for (const PcmLayout& layout : {integerLayout(16, 2), integerLayout(24, 3), integerLayout(24, 4),
                                  integerLayout(32, 4), integerLayout(8, 1), floatLayout(4), floatLayout(8)}) {
    for (const std::uint32_t mask : masks) {
      const ChannelLayout source = layoutOfMask(mask, static_cast<std::uint32_t>(std::popcount(mask)));
      ChannelLayout device = source;
      std::ranges::sort(device.positions);
      // Every order of up to five channels; of more, every one that turns and swaps give.
      const std::size_t orders = source.channelCount() <= 5 ? 120 : 48;
      for (std::size_t order = 0; order < orders; ++order) {
        if (source.channelCount() <= 5) {
          std::ranges::next_permutation(device.positions);
        } else {
          std::ranges::rotate(device.positions, device.positions.begin() + 1);
          std::swap(device.positions[order % 3], device.positions[3 + order % (source.channelCount() - 3)]);
        }
        const std::uint32_t frames = order % 8 == 0 ? RenderPipeline::sliceFrames + 3 : 3;
        const auto bytes = heard(layout, source, device, frames);
        ASSERT_FALSE(bytes.empty());
        std::size_t at = 0;
        for (std::uint32_t f = 0; f < frames; ++f) {
          for (const ChannelPosition position : device.positions) {
            for (std::uint32_t b = 0; b < layout.bytes; ++b, ++at)
              ASSERT_EQ(bytes[at], sampleByte(*channelAt(source, position), b)) << layoutText(layout) << ' ' << mask;
          }
        }
        ++cases;
      }
    }
  }
  EXPECT_EQ(cases, 7 * (7 * 120 + 6 * 48));
}

TEST(ChannelMap, LeavesLoudspeakersSilentThatTheSourceHasNoChannelFor) {
  const ChannelLayout device{{rearLeft, frontRight, lowFrequency, frontLeft}};
  const auto bytes = heard(integerLayout(16, 2), usualLayout(2), device, 1);
  const std::vector<std::byte> expected{std::byte{0}, std::byte{0}, std::byte{0x11}, std::byte{0x12},
                                        std::byte{0}, std::byte{0}, std::byte{0x01}, std::byte{0x02}};
  EXPECT_EQ(bytes, expected);
}

TEST(ChannelMap, IsTheIdentityForEqualLayoutsOfEverySize) {
  for (std::uint32_t channels = 1; channels <= 64; ++channels) {
    for (const ChannelLayout& layout : {usualLayout(channels), unknownLayout(channels)}) {
      const auto map = ChannelMap::make(layout, layout);
      ASSERT_TRUE(map);
      EXPECT_TRUE(map->isIdentity()) << channels;
      EXPECT_FALSE(map->mixes());
    }
  }
}

TEST(ChannelMap, ConvertsExactlyWhileMovingToAnotherPlace) {
  // 16-bit samples to a 32-bit card in the order of surround cards.
  Constants constants{describe(integerLayout(16, 2), 48000, 6)};
  const ChannelLayout card{{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}};
  auto pipeline = RenderPipeline::make({constants.format, integerLayout(32, 4), 6, 48000, layoutOfMask(0x3F, 6), card});
  ASSERT_TRUE(pipeline && pipeline->reset({&Constants::render, &constants}));
  std::vector<std::uint32_t> samples(6);
  ASSERT_EQ(pipeline->render(reinterpret_cast<std::byte*>(samples.data()), 1), noErr);
  EXPECT_EQ(samples,
            (std::vector<std::uint32_t>{0x02010000, 0x12110000, 0x42410000, 0x52510000, 0x22210000, 0x32310000}));
  EXPECT_TRUE(pipeline->changesChannels());
}

TEST(ChannelMap, MixesAMissingCentreIntoBothFrontLoudspeakers) {
  const ChannelLayout device{{frontLeft, frontRight, topCentre}};
  const auto map = ChannelMap::make(layoutOfMask(0x7, 3), device);
  ASSERT_TRUE(map);
  EXPECT_TRUE(map->mixes());
  double frame[] = {0, 0, 1};
  map->mix(frame, 1);
  const double expected = 0.70710678118654752440 / (1 + 0.70710678118654752440);
  EXPECT_DOUBLE_EQ(frame[0], expected);
  EXPECT_DOUBLE_EQ(frame[1], expected);
  EXPECT_EQ(frame[2], 0);
}

TEST(ChannelMap, MixesIntoWiderFramesWithoutOverwritingWhatIsStillToBeRead) {
  const ChannelLayout device{{frontLeft, frontRight, topCentre, topFrontLeft, topFrontRight}};
  const ChannelLayout source = layoutOfMask(0x7, 3);
  const auto map = ChannelMap::make(source, device);
  ASSERT_TRUE(map);
  constexpr std::size_t frames = 100;
  std::vector<double> samples(frames * 5);
  for (std::size_t i = 0; i < frames; ++i) samples[i * 3] = static_cast<double>(i);
  map->mix(samples.data(), frames);
  const double scale = mixWeights(source, device, placeChannels(source, device)).front();
  for (std::size_t i = 0; i < frames; ++i) {
    EXPECT_DOUBLE_EQ(samples[i * 5], static_cast<double>(i) * scale);
    for (std::size_t d = 1; d < 5; ++d) EXPECT_EQ(samples[i * 5 + d], 0);
  }
}

TEST(ChannelMap, NeverExceedsFullScaleInAMix) {
  int mixes = 0;
  for (const std::uint32_t sourceMask : masks) {
    for (const std::uint32_t deviceMask : {0x3U, 0x7U, 0x33U, 0x3FU, 0x63FU, 0x5003U}) {
      const ChannelLayout source = layoutOfMask(sourceMask, static_cast<std::uint32_t>(std::popcount(sourceMask)));
      const ChannelLayout device = layoutOfMask(deviceMask, static_cast<std::uint32_t>(std::popcount(deviceMask)));
      const auto map = ChannelMap::make(source, device);
      if (!map || !map->mixes()) continue;
      std::vector<double> frame(std::max(source.channelCount(), device.channelCount()), 1.0);
      map->mix(frame.data(), 1);
      for (std::uint32_t d = 0; d < device.channelCount(); ++d) {
        EXPECT_GE(frame[d], 0);
        EXPECT_LE(frame[d], 1 + 1e-12) << sourceMask << " on " << deviceMask;
      }
      ++mixes;
    }
  }
  EXPECT_GT(mixes, 20);
}

/// How loud the source's channel is in each of the device's.
std::vector<double> heardOf(const ChannelMap& map, std::uint32_t channel, const ChannelLayout& source,
                            const ChannelLayout& device) {
  std::vector<double> frame(std::max(source.channelCount(), device.channelCount()));
  frame[channel] = 1;
  map.mix(frame.data(), 1);
  frame.resize(device.channelCount());
  return frame;
}

TEST(ChannelMap, MixesTheSideIntoTheRearWhereThereAreTooFewLoudspeakers) {
  const ChannelLayout source = layoutOfMask(0x63F, 8);
  const ChannelLayout card{{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}};
  const auto map = ChannelMap::make(source, card);
  ASSERT_TRUE(map && map->mixes());
  for (const auto& [channel, place] : std::vector<std::pair<std::uint32_t, std::size_t>>{
           {0, 0}, {1, 1}, {2, 4}, {3, 5}, {4, 2}, {5, 3}, {6, 2}, {7, 3}}) {
    std::vector<double> expected(6);
    expected[place] = 0.5;  // two channels at full scale share a loudspeaker
    EXPECT_EQ(heardOf(*map, channel, source, card), expected) << channel;
  }
}

TEST(ChannelMap, MixesIntoFewerChannelsOfTheDevice) {
  const ChannelLayout card{{frontLeft, frontRight, rearLeft, rearRight, frontCentre, lowFrequency}};
  constexpr std::uint32_t frames = RenderPipeline::sliceFrames + 3;
  const auto bytes = heard(integerLayout(16, 2), layoutOfMask(0x63F, 8), card, frames);
  ASSERT_EQ(bytes.size(), frames * 12U);
  const auto sample = [](std::uint32_t channel) {
    return std::to_integer<int>(sampleByte(channel, 0)) + 256 * std::to_integer<int>(sampleByte(channel, 1));
  };
  const int expected[] = {sample(0) / 2, sample(1) / 2, (sample(4) + sample(6)) / 2, (sample(5) + sample(7)) / 2,
                          sample(2) / 2, sample(3) / 2};
  for (std::size_t i = 0; i < bytes.size() / 2; ++i) {
    const int value = std::to_integer<int>(bytes[2 * i]) + 256 * std::to_integer<int>(bytes[2 * i + 1]);
    ASSERT_NEAR(value, expected[i % 6], 2) << "sample " << i;
  }
}

TEST(ChannelMap, MixesIntoTheFirstTwoChannelsOfADeviceThatDoesNotNameTheFrontOnes) {
  const ChannelLayout source = layoutOfMask(0x63F, 8);
  for (const ChannelLayout& device :
       {unknownLayout(6), ChannelLayout{{rearLeft, rearRight, frontCentre, lowFrequency}}}) {
    const auto map = ChannelMap::make(source, device);
    const auto stereo = ChannelMap::make(source, usualLayout(2));
    ASSERT_TRUE(map && map->mixes() && stereo);
    for (std::uint32_t c = 0; c < 8; ++c) {
      std::vector<double> expected = heardOf(*stereo, c, source, usualLayout(2));
      expected.resize(device.channelCount());
      EXPECT_EQ(heardOf(*map, c, source, device), expected) << c;
    }
  }
}

TEST(ChannelMap, LosesNoChannelButLowFrequenciesInAMix) {
  int channels = 0;
  for (const std::uint32_t sourceMask : masks) {
    const ChannelLayout source = layoutOfMask(sourceMask, static_cast<std::uint32_t>(std::popcount(sourceMask)));
    for (std::uint32_t deviceMask = 1; deviceMask < 1U << 11; ++deviceMask) {
      const ChannelLayout device = layoutOfMask(deviceMask, static_cast<std::uint32_t>(std::popcount(deviceMask)));
      if (device.channelCount() >= source.channelCount()) continue;
      const auto map = ChannelMap::make(source, device);
      ASSERT_TRUE(map && map->mixes()) << sourceMask << " on " << deviceMask;
      for (std::uint32_t c = 0; c < source.channelCount(); ++c, ++channels) {
        if (source.positions[c] == lowFrequency) continue;
        const auto heard = heardOf(*map, c, source, device);
        EXPECT_GT(*std::ranges::max_element(heard), 0) << sourceMask << " on " << deviceMask << ", channel " << c;
      }
    }
  }
  EXPECT_GT(channels, 10'000);
}

TEST(ChannelMap, ChoosesTheChannelsOfADevice) {
  const auto chosen = [](const ChannelLayout& source, std::set<std::uint32_t> taken) {
    return ChannelMap::chooseChannels(source, *taken.rbegin(),
                                      [&](std::uint32_t count) { return taken.contains(count); });
  };
  const ChannelLayout eight = layoutOfMask(0x63F, 8);
  EXPECT_EQ(chosen(eight, {2, 4, 6, 8, 10}), 8U) << "its own";
  EXPECT_EQ(chosen(eight, {2, 6, 10, 12}), 10U) << "the next one with room for all";
  EXPECT_EQ(chosen(eight, {1, 2, 4, 6}), 2U) << "a mix to stereo";
  EXPECT_EQ(chosen(eight, {6}), 6U);
  EXPECT_EQ(chosen(eight, {1, 4, 6}), 6U) << "as many as there are";
  EXPECT_EQ(chosen(eight, {1}), 1U);
  EXPECT_EQ(chosen(usualLayout(2), {1}), 1U);
  EXPECT_EQ(chosen(usualLayout(1), {6}), 6U);
  EXPECT_EQ(chosen(unknownLayout(12), {2, 8}), 0U) << "of channels without positions there is no mix";
}

TEST(ChannelMap, RefusesNumbersOfChannelsThatDoNotFitTheLayouts) {
  const auto format = describe(integerLayout(16, 2), 48000, 2);
  EXPECT_FALSE(RenderPipeline::make({format, integerLayout(16, 2), 2, 48000, usualLayout(1), {}}));
  EXPECT_FALSE(RenderPipeline::make({format, integerLayout(16, 2), 2, 48000, {}, unknownLayout(3)}));
  EXPECT_TRUE(RenderPipeline::make({format, integerLayout(16, 2), 2, 48000, usualLayout(2), usualLayout(2)}));
}

}  // namespace
}  // namespace tolvane
