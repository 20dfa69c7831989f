#include "platform/conversion/RenderPipeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace tolvane {
namespace {

constexpr std::uint32_t signedFlag = kAudioFormatFlagIsSignedInteger;

/// A source whose 16-bit sample at frame f, channel c is 256 × (c + 1) + f, or what `sample` says.
struct Source {
  std::uint32_t channels = 2;
  std::int64_t rendered = 0;
  std::int64_t framesBeforeTheEnd = 1'000'000;
  OSStatus status = noErr;
  std::uint32_t largestRequest = 0;
  double (*sample)(std::int64_t frame) = nullptr;

  static OSStatus render(void* self, std::uint32_t frames, AudioBufferList* list) noexcept {
    auto& source = *static_cast<Source*>(self);
    source.largestRequest = std::max(source.largestRequest, frames);
    auto* out = static_cast<std::int16_t*>(list->mBuffers[0].mData);
    const auto given = std::min<std::int64_t>(frames, source.framesBeforeTheEnd - source.rendered);
    for (std::int64_t i = 0; i < given; ++i, ++source.rendered) {
      for (std::uint32_t c = 0; c < source.channels; ++c) {
        *out++ = source.sample ? static_cast<std::int16_t>(std::lround(source.sample(source.rendered)))
                               : static_cast<std::int16_t>(256 * (c + 1) + source.rendered);
      }
    }
    list->mBuffers[0].mDataByteSize = static_cast<std::uint32_t>(given * source.channels * 2);
    return source.status;
  }

  [[nodiscard]] AudioStreamBasicDescription format(double rate = 44100) const {
    return linearPCM(rate, channels, 16, 2, signedFlag);
  }
};

std::unique_ptr<RenderPipeline> pipelineFor(Source& source, std::uint32_t deviceChannels, double deviceRate = 44100,
                                            const PcmLayout& device = integerLayout(16, 2)) {
  auto pipeline = RenderPipeline::make({source.format(), device, deviceChannels, deviceRate});
  if (pipeline && !pipeline->reset({&Source::render, &source})) pipeline.reset();
  return pipeline;
}

std::vector<std::int16_t> rendered(RenderPipeline& pipeline, std::uint32_t frames, std::uint32_t channels,
                                   OSStatus expected = noErr) {
  std::vector<std::int16_t> samples(std::size_t{frames} * channels, 0x5555);
  EXPECT_EQ(pipeline.render(reinterpret_cast<std::byte*>(samples.data()), frames), expected);
  return samples;
}

TEST(RenderPipeline, PassesFramesOnInSlicesWithoutLosingOne) {
  Source source;
  auto pipeline = pipelineFor(source, 2);
  const auto samples = rendered(*pipeline, 5000, 2);
  for (int f = 0; f < 5000; ++f) {
    ASSERT_EQ(samples[2 * f], static_cast<std::int16_t>(256 + f));
    ASSERT_EQ(samples[2 * f + 1], static_cast<std::int16_t>(512 + f));
  }
  EXPECT_EQ(source.rendered, 5000);
  EXPECT_LE(source.largestRequest, RenderPipeline::sliceFrames);
  EXPECT_EQ(pipeline->clientFrames(1234), 1234);
  EXPECT_FALSE(pipeline->changesRate());
}

TEST(RenderPipeline, GivesMonoToBothChannelsAndLeavesFurtherOnesSilent) {
  Source source{.channels = 1};
  auto pipeline = pipelineFor(source, 4);
  ASSERT_TRUE(pipeline);
  EXPECT_TRUE(pipeline->changesChannels());
  EXPECT_EQ(rendered(*pipeline, 2, 4), (std::vector<std::int16_t>{256, 256, 0, 0, 257, 257, 0, 0}));
}

TEST(RenderPipeline, PlacesStereoOnTheFirstChannelsOfAWiderDevice) {
  Source source;
  auto pipeline = pipelineFor(source, 3);
  EXPECT_EQ(rendered(*pipeline, 2, 3), (std::vector<std::int16_t>{256, 512, 0, 257, 513, 0}));
}

TEST(RenderPipeline, MixesSixChannelsDownWithoutExceedingFullScale) {
  Source source{.channels = 6, .sample = [](std::int64_t) { return 32767.0; }};
  auto pipeline = pipelineFor(source, 2);
  ASSERT_TRUE(pipeline);
  EXPECT_EQ(rendered(*pipeline, 2, 2), (std::vector<std::int16_t>{32767, 32767, 32767, 32767}));
}

TEST(RenderPipeline, RefusesWhatItCannotMapHonestly) {
  Source source{.channels = 12};
  EXPECT_FALSE(pipelineFor(source, 8));
  EXPECT_FALSE(pipelineFor(source, 2));
  source.channels = 2;
  EXPECT_FALSE(pipelineFor(source, 0));
  EXPECT_FALSE(pipelineFor(source, 2, 0));
}

TEST(RenderPipeline, PlaysSilenceForWhatTheCallbackDoesNotFill) {
  Source source{.framesBeforeTheEnd = 3};
  auto pipeline = pipelineFor(source, 2);
  EXPECT_EQ(rendered(*pipeline, 5, 2), (std::vector<std::int16_t>{256, 512, 257, 513, 258, 514, 0, 0, 0, 0}));
}

TEST(RenderPipeline, PlaysSilenceAndReportsTheStatusWhenTheCallbackFails) {
  Source source{.status = -50};
  auto pipeline = pipelineFor(source, 2);
  EXPECT_EQ(rendered(*pipeline, 3, 2, -50), (std::vector<std::int16_t>(6, 0)));
}

double ramp(std::int64_t frame) { return static_cast<double>(frame % 8000); }

TEST(RenderPipeline, AccountsForEveryFrameWhenTheDeviceHasAnotherRate) {
  Source source{.channels = 1, .sample = &ramp};
  auto pipeline = pipelineFor(source, 2, 48000);
  ASSERT_TRUE(pipeline);
  EXPECT_TRUE(pipeline->changesRate());
  const auto samples = rendered(*pipeline, 8000, 2);
  // The ramp's value is the source's own frame number: what is heard must be the frame that is accounted for.
  for (int played = 1000; played < 7000; ++played) {
    ASSERT_NEAR(samples[2U * static_cast<unsigned>(played)], static_cast<double>(pipeline->clientFrames(played)), 1.01)
        << played;
  }
  EXPECT_LE(pipeline->clientFrames(8000), source.rendered);
}

double tone(std::int64_t frame) {
  return 16000 * std::sin(2 * std::numbers::pi * 1000 * static_cast<double>(frame) / 44100);
}

TEST(RenderPipeline, ResamplesAToneWithoutAudibleError) {
  Source source{.channels = 1, .sample = &tone};
  auto pipeline = pipelineFor(source, 2, 48000);
  ASSERT_TRUE(pipeline);
  const auto samples = rendered(*pipeline, 24000, 2);
  // A projection on the tone takes its power; what is left is the error.
  double sine = 0;
  double cosine = 0;
  constexpr int first = 4800;
  constexpr int count = 14400;
  const auto phase = [](int i) { return 2 * std::numbers::pi * 1000 * i / 48000; };
  for (int i = first; i < first + count; ++i) {
    sine += samples[2U * static_cast<unsigned>(i)] * std::sin(phase(i)) * 2 / count;
    cosine += samples[2U * static_cast<unsigned>(i)] * std::cos(phase(i)) * 2 / count;
  }
  EXPECT_NEAR(std::hypot(sine, cosine), 16000, 1);
  double worst = 0;
  for (int i = first; i < first + count; ++i) {
    const double expected = sine * std::sin(phase(i)) + cosine * std::cos(phase(i));
    worst = std::max(worst, std::fabs(samples[2U * static_cast<unsigned>(i)] - expected));
  }
  EXPECT_LT(worst, 1.6);  // source and target are each rounded to 16 bits
}

TEST(RenderPipeline, StartsAfreshAfterAReset) {
  Source source{.channels = 1, .sample = [](std::int64_t) { return 20000.0; }};
  auto pipeline = pipelineFor(source, 2, 48000);
  ASSERT_TRUE(pipeline);
  static_cast<void>(rendered(*pipeline, 4000, 2));
  Source silent{.channels = 1, .sample = [](std::int64_t) { return 0.0; }};
  ASSERT_TRUE(pipeline->reset({&Source::render, &silent}));
  EXPECT_EQ(rendered(*pipeline, 4000, 2), std::vector<std::int16_t>(8000, 0));
  EXPECT_EQ(pipeline->clientFrames(0), 0);
}

TEST(RenderPipeline, TakesNearlyEqualRatesAsEqual) {
  EXPECT_TRUE(sameSampleRate(44100, 44100.5));
  EXPECT_FALSE(sameSampleRate(44100, 44102));
  EXPECT_TRUE(sameSampleRate(192000, 192003));
  EXPECT_FALSE(sameSampleRate(0, 0));
}

}  // namespace
}  // namespace tolvane
