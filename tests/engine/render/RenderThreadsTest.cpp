// The two threads of a context at once: what the thread sanitizer watches.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <thread>

#include "engine/render/AudioRenderContext.h"

namespace tolvane::test {
namespace {

constexpr std::int64_t kFrames = 400'000;
constexpr std::uint32_t kFramesABuffer = 16;
constexpr std::int16_t kLoud = 16384;

/// Mono, every sample kLoud.
AudioRenderContext loudTrack(const std::shared_ptr<AtomicOutputLevels>& levels) {
  PcmBlock block(kFrames * sizeof(std::int16_t));
  for (std::int64_t i = 0; i < kFrames; ++i) {
    std::memcpy(block.data() + i * static_cast<std::int64_t>(sizeof kLoud), &kLoud, sizeof kLoud);
  }
  const auto size = static_cast<std::int64_t>(block.size());
  return {std::move(block), size, linearPCM(44100, 1, 16, 2, kAudioFormatFlagIsSignedInteger), levels};
}

/// The render thread's part: pulls until the end, then `further` buffers. The buffers that held anything but samples at
/// one of the two volumes, alike throughout.
std::int64_t pullToTheEnd(AudioRenderContext& context, int further) {
  std::int64_t wrong = 0;
  const std::int64_t buffers = kFrames / kFramesABuffer + further;
  for (std::int64_t pulled = 0; pulled < buffers; ++pulled) {
    std::array<std::int16_t, kFramesABuffer> samples;
    AudioBuffer buffer{1, sizeof samples, samples.data()};
    AudioBufferList list{{&buffer, 1}};
    if (context.render(kFramesABuffer, &list) != noErr) ++wrong;
    const bool music = pulled < kFrames / kFramesABuffer;
    for (const std::int16_t sample : samples) {
      const bool right = music ? sample == samples[0] && (sample == kLoud || sample == kLoud / 2) : sample == 0;
      if (!right) ++wrong;
    }
  }
  return wrong;
}

TEST(RenderThreads, TheMainThreadSeesThePositionGrowAndTheEndBehindTheLastFrame) {
  const auto levels = std::make_shared<AtomicOutputLevels>();
  AudioRenderContext context = loudTrack(levels);
  std::atomic<std::int64_t> wrong{-1};
  std::thread render([&] { wrong = pullToTheEnd(context, 10); });

  std::int64_t frame = 0;
  std::int64_t cycles = 0;
  for (bool loud = false; !context.didReachEnd(); loud = !loud) {
    levels->store({loud ? 1.0 : 0.5, 0.0});
    const std::int64_t nextFrame = context.currentFrame();
    const std::int64_t nextCycles = context.renderCycleCount();
    EXPECT_GE(nextFrame, frame);
    EXPECT_GE(nextCycles, cycles);
    EXPECT_LE(nextFrame, kFrames);
    frame = nextFrame;
    cycles = nextCycles;
  }
  EXPECT_EQ(context.currentFrame(), kFrames) << "the end was announced behind the position";
  EXPECT_GE(context.renderCycleCount(), kFrames / kFramesABuffer);
  render.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(context.renderCycleCount(), kFrames / kFramesABuffer + 10);
}

TEST(RenderThreads, SeekingBetweenTwoRunsOfTheUnitMovesTheNextOne) {
  const auto levels = std::make_shared<AtomicOutputLevels>();
  AudioRenderContext context = loudTrack(levels);
  for (int run = 0; run < 3; ++run) {
    std::int64_t wrong = -1;
    std::thread([&] { wrong = pullToTheEnd(context, 2); }).join();
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(context.didReachEnd());
    context.seek(0);
    EXPECT_FALSE(context.didReachEnd());
  }
}

TEST(RenderThreads, AVolumeIsOnlySeenWithTheBalanceThatWasStoredWithIt) {
  AtomicOutputLevels levels;
  levels.store({0.0, 1.0});
  constexpr int kStores = 200'000;
  // Exact in a float, so that every pair that was stored together keeps balance = 1 - 2 × volume.
  const auto storeMany = [&levels](int start) {
    for (int i = 0; i < kStores; ++i) {
      const double volume = (start + i) % 1025 / 1024.0;
      levels.store({volume, 1 - 2 * volume});
    }
  };
  std::thread first(storeMany, 0);
  std::thread second(storeMany, 512);
  int torn = 0;
  for (int i = 0; i < kStores; ++i) {
    const OutputLevels seen = levels.load();
    if (seen.balance != 1 - 2 * seen.volume) ++torn;
  }
  first.join();
  second.join();
  EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace tolvane::test
