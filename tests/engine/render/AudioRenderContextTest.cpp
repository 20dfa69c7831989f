#include "engine/render/AudioRenderContext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "tests/engine/render/PcmLayouts.h"

namespace tolvane::test {
namespace {

constexpr std::byte kStale{0xEE};  ///< what lies in a buffer before it is rendered into
constexpr std::uint32_t kSigned = kAudioFormatFlagIsSignedInteger;

/// A track of bytes that differ, and an output unit's buffer to render it into.
class Track {
 public:
  Track(const AudioStreamBasicDescription& format, std::int64_t byteCount)
      : context(numbered(byteCount), byteCount, format, levels) {}

  /// 16-bit stereo: 4 bytes a frame.
  static Track ofFrames(std::int64_t frames) { return {linearPCM(44100, 2, 16, 2, kSigned), frames * 4}; }

  /// Renders into a buffer of `bufferBytes` stale bytes, which is `output` afterwards.
  OSStatus render(std::uint32_t frames, std::uint32_t bufferBytes) {
    output.assign(bufferBytes, kStale);
    reported = {2, bufferBytes, output.data()};
    AudioBufferList list{{&reported, 1}};
    return context.render(frames, &list);
  }

  [[nodiscard]] std::vector<std::byte> expected(std::int64_t fromFrame, std::int64_t frames,
                                                std::size_t bufferBytes) const {
    std::vector<std::byte> bytes(bufferBytes, std::byte{0});
    const std::int64_t width = context.format().mBytesPerFrame;
    if (frames > 0) {
      std::memcpy(bytes.data(), context.buffer().data() + fromFrame * width, static_cast<std::size_t>(frames * width));
    }
    return bytes;
  }

  std::shared_ptr<AtomicOutputLevels> levels = std::make_shared<AtomicOutputLevels>();
  AudioRenderContext context;
  std::vector<std::byte> output;
  AudioBuffer reported;

 private:
  static PcmBlock numbered(std::int64_t size) {
    PcmBlock block(static_cast<std::size_t>(size));
    for (std::size_t i = 0; i < block.size(); ++i) block.data()[i] = static_cast<std::byte>(i * 7 + i / 251 + 1);
    return block;
  }
};

bool isSilent(const std::vector<std::byte>& bytes) {
  return std::ranges::all_of(bytes, [](std::byte each) { return each == std::byte{0}; });
}

// Creation.

TEST(AudioRenderContext, StartsAtTheFirstFrameWithAllWholeFrames) {
  const Track track(linearPCM(44100, 2, 24, 3, kSigned), 6 * 10 + 5);
  EXPECT_EQ(track.context.totalFrames(), 10);
  EXPECT_EQ(track.context.byteCount(), 65);
  EXPECT_EQ(track.context.buffer().size(), 65U);
  EXPECT_EQ(track.context.currentFrame(), 0);
  EXPECT_EQ(track.context.renderCycleCount(), 0);
  EXPECT_FALSE(track.context.didReachEnd());
  EXPECT_EQ(track.context.format(), linearPCM(44100, 2, 24, 3, kSigned));
  EXPECT_EQ(track.context.levelProcessor(), PCMOutputLevelProcessor::make(track.context.format()));
  EXPECT_EQ(track.context.outputLevels(), track.levels);
}

TEST(AudioRenderContext, IsAtItsEndFromTheStartWithoutAWholeFrame) {
  const Track track(linearPCM(44100, 2, 24, 3, kSigned), 5);
  EXPECT_EQ(track.context.totalFrames(), 0);
  EXPECT_TRUE(track.context.didReachEnd());
}

TEST(AudioRenderContext, KeepsTheLevelsAliveAndLetsThemGo) {
  std::weak_ptr<AtomicOutputLevels> observed;
  {
    auto levels = std::make_shared<AtomicOutputLevels>();
    observed = levels;
    const AudioRenderContext context(PcmBlock(4), 4, linearPCM(44100, 1, 16, 2, kSigned), std::move(levels));
    EXPECT_FALSE(observed.expired());
  }
  EXPECT_TRUE(observed.expired());
}

// Rendering.

TEST(AudioRenderContext, RendersTheBlocksBytesOfEveryLayoutAtNeutralLevels) {
  std::vector<PcmLayout> layouts = allLayouts();
  layouts.push_back({16, 9, kSigned});  // a layout that cannot be scaled
  for (const PcmLayout& layout : layouts) {
    for (const std::uint32_t channels : {1U, 2U, 5U}) {
      const std::uint32_t width = layout.bytes * channels;
      Track track(layout.format(channels), std::int64_t{width} * 100);
      std::vector<std::byte> heard;
      for (int turn = 0; turn < 4; ++turn) {
        ASSERT_EQ(track.render(25, 25 * width), noErr);
        heard.insert(heard.end(), track.output.begin(), track.output.end());
      }
      EXPECT_TRUE(std::ranges::equal(heard, track.context.buffer().bytes())) << layout.name();
      EXPECT_TRUE(track.context.didReachEnd());
    }
  }
}

TEST(AudioRenderContext, FillsTheLastBufferUpWithSilence) {
  Track track = Track::ofFrames(1124);
  track.context.seek(1024);
  EXPECT_EQ(track.render(512, 512 * 4), noErr);
  EXPECT_EQ(track.output, track.expected(1024, 100, std::size_t{512} * 4));
  EXPECT_EQ(track.reported.mDataByteSize, 512U * 4);
  EXPECT_EQ(track.context.currentFrame(), 1124);
  EXPECT_TRUE(track.context.didReachEnd());
}

TEST(AudioRenderContext, IsSilentAtTheHalfWayCodeOfOffsetBinary) {
  const struct {
    AudioStreamBasicDescription format;
    std::vector<int> sample;
  } rows[] = {{linearPCM(44100, 2, 8, 1, 0), {0x80}},
              {linearPCM(44100, 1, 16, 2, 0), {0x00, 0x80}},
              {linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsBigEndian), {0x80, 0x00}},
              {linearPCM(44100, 2, 20, 3, kAudioFormatFlagIsAlignedHigh), {0x00, 0x00, 0x80}},
              {linearPCM(44100, 2, 20, 3, 0), {0x00, 0x00, 0x08}},
              {linearPCM(44100, 2, 64, 8, 0), {0, 0, 0, 0, 0, 0, 0, 0x80}}};
  for (const auto& row : rows) {
    const std::uint32_t width = row.format.mBytesPerFrame;
    Track track(row.format, width);
    ASSERT_EQ(track.render(3, 3 * width), noErr);
    for (std::uint32_t i = width; i < 3 * width; ++i)
      EXPECT_EQ(std::to_integer<int>(track.output[i]), row.sample[i % row.sample.size()]) << "byte " << i;
    EXPECT_TRUE(std::equal(track.output.begin(), track.output.begin() + width, track.context.buffer().data()));
  }
}

TEST(AudioRenderContext, ReachesTheEndWithTheLastFrameAndNotBefore) {
  Track track = Track::ofFrames(200);
  EXPECT_EQ(track.render(199, 199 * 4), noErr);
  EXPECT_FALSE(track.context.didReachEnd());
  EXPECT_EQ(track.render(1, 4), noErr);
  EXPECT_TRUE(track.context.didReachEnd());
}

TEST(AudioRenderContext, RendersSilenceAndSuccessPastTheEndAndStillCounts) {
  Track track = Track::ofFrames(10);
  EXPECT_EQ(track.render(10, 40), noErr);
  for (int turn = 0; turn < 3; ++turn) {
    EXPECT_EQ(track.render(512, 512 * 4), noErr);
    EXPECT_TRUE(isSilent(track.output));
    EXPECT_EQ(track.reported.mDataByteSize, 512U * 4);
  }
  EXPECT_EQ(track.context.currentFrame(), 10);
  EXPECT_EQ(track.context.renderCycleCount(), 4);
  EXPECT_TRUE(track.context.didReachEnd());
}

TEST(AudioRenderContext, RendersNoMoreThanTheBufferHoldsInWholeFrames) {
  Track track = Track::ofFrames(100);
  EXPECT_EQ(track.render(50, 10 * 4 + 3), noErr);
  EXPECT_EQ(track.output, track.expected(0, 10, 43));
  EXPECT_EQ(track.reported.mDataByteSize, 43U) << "never more than it was";
  EXPECT_EQ(track.context.currentFrame(), 10);
}

TEST(AudioRenderContext, RendersNoMoreThanAskedForAndReportsThatSize) {
  Track track = Track::ofFrames(100);
  EXPECT_EQ(track.render(10, 50 * 4), noErr);
  EXPECT_EQ(track.output, track.expected(0, 10, 200)) << "zeroed over its whole size";
  EXPECT_EQ(track.reported.mDataByteSize, 40U);
  EXPECT_EQ(track.context.currentFrame(), 10);
}

TEST(AudioRenderContext, RendersNothingWhenNothingIsAskedFor) {
  Track track = Track::ofFrames(100);
  EXPECT_EQ(track.render(0, 40), noErr);
  EXPECT_TRUE(isSilent(track.output));
  EXPECT_EQ(track.reported.mDataByteSize, 0U);
  EXPECT_EQ(track.context.currentFrame(), 0);
  EXPECT_EQ(track.render(10, 0), noErr) << "data, but no room";
  EXPECT_EQ(track.reported.mDataByteSize, 0U);
  EXPECT_EQ(track.context.currentFrame(), 0);
  EXPECT_FALSE(track.context.didReachEnd());
}

TEST(AudioRenderContext, ReportsTheBuffersOwnSizeWhenMoreFramesAreRequestedThanASizeCanHold) {
  Track track = Track::ofFrames(100);
  EXPECT_EQ(track.render(std::numeric_limits<std::uint32_t>::max(), 400), noErr);
  EXPECT_EQ(track.output, track.expected(0, 100, 400));
  EXPECT_EQ(track.reported.mDataByteSize, 400U);
}

TEST(AudioRenderContext, ScalesWhatItCopiesAndNothingElse) {
  Track track = Track::ofFrames(3);
  const std::int16_t samples[] = {100, -100, 200, -200, 300, -300};
  std::memcpy(track.context.buffer().data(), samples, sizeof samples);
  track.levels->store({0.5, 0.0});
  EXPECT_EQ(track.render(4, 16), noErr);
  std::int16_t heard[8];
  std::memcpy(heard, track.output.data(), sizeof heard);
  EXPECT_TRUE(std::ranges::equal(heard, std::to_array<std::int16_t>({50, -50, 100, -100, 150, -150, 0, 0})));
  EXPECT_EQ(std::memcmp(track.context.buffer().data(), samples, sizeof samples), 0) << "the block stays as it is";
}

TEST(AudioRenderContext, FollowsTheLevelsFromBufferToBuffer) {
  Track track = Track::ofFrames(3);
  const std::int16_t samples[] = {100, 100, 100, 100, 100, 100};
  std::memcpy(track.context.buffer().data(), samples, sizeof samples);
  const struct {
    OutputLevels levels;
    std::int16_t left, right;
  } turns[] = {{{0.5, 0.0}, 50, 50}, {{1.0, 0.5}, 50, 100}, {{1.0, 0.0}, 100, 100}};
  for (const auto& [levels, left, right] : turns) {
    track.levels->store(levels);
    EXPECT_EQ(track.render(1, 4), noErr);
    std::int16_t heard[2];
    std::memcpy(heard, track.output.data(), sizeof heard);
    EXPECT_EQ(heard[0], left);
    EXPECT_EQ(heard[1], right);
  }
}

// Refusals.

TEST(AudioRenderContext, RefusesToScaleALayoutThatItCannotAndDoesNotMove) {
  Track track(linearPCM(44100, 1, 16, 9, kSigned), 900);
  ASSERT_FALSE(track.context.levelProcessor());
  track.levels->store({0.5, 0.0});
  EXPECT_EQ(track.render(512, 4608), kAudioUnitErr_FormatNotSupported);
  EXPECT_EQ(kAudioUnitErr_FormatNotSupported, -10868);
  EXPECT_EQ(track.output, track.expected(0, 100, 4608)) << "copied, unscaled";
  EXPECT_EQ(track.reported.mDataByteSize, 4608U);
  EXPECT_EQ(track.context.currentFrame(), 0);
  EXPECT_EQ(track.context.renderCycleCount(), 1);
  EXPECT_FALSE(track.context.didReachEnd());

  track.context.seek(100);
  EXPECT_EQ(track.render(512, 4608), noErr) << "silence needs no scaling";
  track.context.seek(0);
  track.levels->store({1.0, 0.0});
  EXPECT_EQ(track.render(50, 450), noErr) << "neutral again";
  EXPECT_EQ(track.context.currentFrame(), 50);
}

TEST(AudioRenderContext, RefusesAMissingListAndStillCounts) {
  Track track = Track::ofFrames(10);
  EXPECT_EQ(track.context.render(10, nullptr), kAudio_ParamError);
  EXPECT_EQ(kAudio_ParamError, -50);
  EXPECT_EQ(track.context.renderCycleCount(), 1);
  EXPECT_EQ(track.context.currentFrame(), 0);
}

TEST(AudioRenderContext, RefusesAListOfNoneOrSeveralBuffersAndZeroesThemAll) {
  Track track = Track::ofFrames(10);
  std::vector<std::byte> first(40, kStale);
  std::vector<std::byte> third(24, kStale);
  AudioBuffer buffers[] = {{2, 40, first.data()}, {2, 40, nullptr}, {2, 20, third.data()}};
  AudioBufferList list{buffers};
  EXPECT_EQ(track.context.render(10, &list), kAudio_ParamError);
  EXPECT_TRUE(isSilent(first));
  EXPECT_TRUE(std::all_of(third.begin(), third.begin() + 20, [](std::byte each) { return each == std::byte{0}; }));
  EXPECT_EQ(third[20], kStale) << "no further than the size says";
  EXPECT_EQ(buffers[0].mDataByteSize, 40U);

  AudioBufferList none;
  EXPECT_EQ(track.context.render(10, &none), kAudio_ParamError);
  EXPECT_EQ(track.context.renderCycleCount(), 2);
  EXPECT_EQ(track.context.currentFrame(), 0);
}

TEST(AudioRenderContext, RefusesABufferWithoutData) {
  Track track = Track::ofFrames(10);
  AudioBuffer buffer{2, 40, nullptr};
  AudioBufferList list{{&buffer, 1}};
  EXPECT_EQ(track.context.render(10, &list), kAudio_ParamError);
  EXPECT_EQ(buffer.mDataByteSize, 40U);
  EXPECT_EQ(track.context.currentFrame(), 0);
}

TEST(AudioRenderContext, RefusesAFormatWithoutBytesAndZeroesTheBuffer) {
  AudioStreamBasicDescription format = linearPCM(44100, 2, 16, 2, kSigned);
  format.mBytesPerFrame = 0;
  Track track(format, 40);
  EXPECT_EQ(track.context.totalFrames(), 0);
  EXPECT_EQ(track.render(10, 40), kAudio_ParamError);
  EXPECT_TRUE(isSilent(track.output));
}

// Seeking.

TEST(AudioRenderContext, SeeksWithinItsFramesAndKnowsTheEnd) {
  const struct {
    std::int64_t to, frame;
    bool end;
  } cases[] = {
      {5, 5, false},
      {-5, 0, false},
      {0, 0, false},
      {9, 9, false},
      {10, 10, true},
      {11, 10, true},
      {std::numeric_limits<std::int64_t>::max(), 10, true},
      {std::numeric_limits<std::int64_t>::min(), 0, false},
  };
  for (const bool fromTheEnd : {false, true}) {
    for (const auto& [to, frame, end] : cases) {
      Track track = Track::ofFrames(10);
      if (fromTheEnd) track.context.seek(10);
      track.context.seek(to);
      EXPECT_EQ(track.context.currentFrame(), frame) << to;
      EXPECT_EQ(track.context.didReachEnd(), end) << to;
      EXPECT_EQ(track.context.renderCycleCount(), 0) << to;
    }
  }
}

TEST(AudioRenderContext, StaysAtTheEndWhereverItSeeksWithoutAWholeFrame) {
  Track track(linearPCM(44100, 2, 16, 2, kSigned), 3);
  for (const std::int64_t to : {-5, 0, 5}) {
    track.context.seek(to);
    EXPECT_EQ(track.context.currentFrame(), 0);
    EXPECT_TRUE(track.context.didReachEnd());
  }
  EXPECT_EQ(track.render(10, 40), noErr);
  EXPECT_TRUE(isSilent(track.output));
}

TEST(AudioRenderContext, RendersFromWhereItSought) {
  Track track = Track::ofFrames(100);
  EXPECT_EQ(track.render(100, 400), noErr);
  track.context.seek(30);
  EXPECT_FALSE(track.context.didReachEnd());
  EXPECT_EQ(track.render(20, 80), noErr);
  EXPECT_EQ(track.output, track.expected(30, 20, 80));
  EXPECT_EQ(track.context.currentFrame(), 50);
}

// As a callback.

TEST(AudioRenderContext, RendersThroughTheCallbackThatUnitsInstall) {
  Track track = Track::ofFrames(10);
  const AURenderCallback callback = track.context.callback();
  std::vector<std::byte> output(40, kStale);
  AudioBuffer buffer{2, 40, output.data()};
  AudioBufferList list{{&buffer, 1}};
  EXPECT_EQ(callback.inputProc(callback.inputProcRefCon, 10, &list), noErr);
  EXPECT_EQ(output, track.expected(0, 10, 40));
  EXPECT_EQ(callback.inputProc(callback.inputProcRefCon, 10, nullptr), kAudio_ParamError);
  EXPECT_EQ(track.context.renderCycleCount(), 2);
}

}  // namespace
}  // namespace tolvane::test
