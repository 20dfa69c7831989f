// The render loop over a PCM whose machine sleeps, and whose driver stops: what no virtual machine brings about.

#include "platform/alsa/pcm/AlsaRenderLoop.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "tests/platform/alsa/scripted/ScriptedPcm.h"

namespace tolvane {
namespace {

/// Frame f has the sample f.
struct CountingSource {
  std::int16_t next = 0;

  static OSStatus render(void* self, std::uint32_t frames, AudioBufferList* list) noexcept {
    auto& source = *static_cast<CountingSource*>(self);
    auto* out = static_cast<std::int16_t*>(list->mBuffers[0].mData);
    for (std::uint32_t i = 0; i < frames; ++i, ++source.next) {
      *out++ = source.next;
      *out++ = source.next;
    }
    return noErr;
  }
};

class AlsaRenderLoopTest : public testing::Test {
 protected:
  AlsaRenderLoopTest() {
    constexpr double rate = 48000;
    const AlsaPcmSetup setup{.layout = integerLayout(16, 2),
                             .driverBits = 16,
                             .rate = 48000,
                             .channels = 2,
                             .periodFrames = ScriptedPcm::periodFrames,
                             .bufferFrames = ScriptedPcm::ringFrames,
                             .usesMmap = false,
                             .canPause = false};
    auto pipeline =
        RenderPipeline::make({linearPCM(rate, 2, 16, 2, kAudioFormatFlagIsSignedInteger), setup.layout, 2, rate});
    loop_ = std::make_unique<AlsaRenderLoop>(AlsaPcm::open(deviceCalls_, 0, 0).value(), setup, std::move(pipeline),
                                             nullptr, notice_);
    EXPECT_EQ(loop_->start({&CountingSource::render, &source_}), noErr);
  }

  /// The render thread has signalled.
  [[nodiscard]] bool hasNotice() const {
    pollfd descriptor{notice_->get(), POLLIN, 0};
    return poll(&descriptor, 1, 30'000) == 1;
  }

  /// Frames 0, 1, 2 … without a gap or a repetition.
  void expectHeard(std::size_t frames) {
    std::vector<std::int16_t> expected(frames);
    for (std::size_t i = 0; i < frames; ++i) expected[i] = static_cast<std::int16_t>(i);
    EXPECT_EQ(pcm_.heard(), expected);
  }

  ScriptedPcm pcm_;
  ManualRunLoop runLoop_;
  MemoryLog log_;
  DeviceCalls calls_{runLoop_, log_};
  const std::shared_ptr<AlsaDeviceCalls> deviceCalls_ = std::make_shared<AlsaDeviceCalls>(calls_, "Scripted", [] {});
  const std::shared_ptr<EventDescriptor> notice_ = std::make_shared<EventDescriptor>();
  CountingSource source_;
  std::unique_ptr<AlsaRenderLoop> loop_;
};

TEST_F(AlsaRenderLoopTest, GoesOnWhereItWasWhenTheMachineHasSlept) {
  pcm_.play(500);
  pcm_.suspend({-EAGAIN, -EAGAIN, 0});
  pcm_.play(700);
  pcm_.play(300);
  EXPECT_EQ(pcm_.resumes(), 3);
  EXPECT_EQ(pcm_.prepares(), 1) << "a stream that goes on is not begun anew";
  EXPECT_EQ(loop_->stop(), noErr);
  EXPECT_EQ(loop_->framesPlayed(), 1500);
  EXPECT_EQ(loop_->underruns(), 0U) << "sleep is no underrun";
  expectHeard(1500);
}

TEST_F(AlsaRenderLoopTest, BeginsAnewWithWhatWasNotHeardWhereTheDriverCannotResume) {
  pcm_.play(500);
  pcm_.suspend({-ENOSYS});
  ASSERT_TRUE(pcm_.waitUntil([](const auto& pcm) { return pcm.prepares() == 2; }));
  pcm_.play(700);
  pcm_.play(300);
  EXPECT_TRUE(loop_->isAlive());
  EXPECT_EQ(loop_->stop(), noErr);
  EXPECT_EQ(loop_->framesPlayed(), 1500);
  EXPECT_EQ(loop_->underruns(), 0U);
  expectHeard(1500);
}

TEST_F(AlsaRenderLoopTest, StopsAtOnceWhileTheCardIsStillAsleep) {
  pcm_.play(500);
  pcm_.suspend({-EAGAIN});
  ASSERT_TRUE(pcm_.waitUntil([](const auto& pcm) { return pcm.resumes() > 0; }));
  EXPECT_EQ(loop_->stop(), noErr);
  EXPECT_LT(pcm_.resumes(), 100) << "it was not waited for";
  EXPECT_EQ(loop_->framesPlayed(), 500);
}

TEST_F(AlsaRenderLoopTest, FailsWhenTheCardIsGoneWhereTheMachineWakes) {
  pcm_.play(500);
  pcm_.answerPrepare(-ENODEV);
  pcm_.suspend({-ENODEV});
  ASSERT_TRUE(hasNotice());
  EXPECT_FALSE(loop_->isAlive());
  EXPECT_EQ(loop_->takeLastError(), kAudioHardwareBadDeviceError);
  EXPECT_EQ(loop_->stop(), kAudioHardwareBadDeviceError);
  EXPECT_EQ(loop_->framesPlayed(), 500);
}

TEST_F(AlsaRenderLoopTest, PlaysOnAfterADriverThatStoppedWithMusicInItsRing) {
  pcm_.play(500);
  pcm_.stopByItself();
  ASSERT_TRUE(pcm_.waitUntil([](const auto& pcm) { return pcm.prepares() == 2; }));
  pcm_.play(700);
  pcm_.play(300);
  EXPECT_EQ(loop_->underruns(), 1U);
  EXPECT_EQ(loop_->stop(), noErr);
  EXPECT_EQ(loop_->framesPlayed(), 1500);
  expectHeard(1500);
}

TEST_F(AlsaRenderLoopTest, GivesADriverUpThatStopsAfterEachStart) {
  pcm_.play(500);
  pcm_.stopAfterEachStart();
  pcm_.stopByItself();
  while (loop_->isAlive() && hasNotice()) notice_->clear();  // it signals each stop, and the end
  EXPECT_EQ(pcm_.prepares(), 2 + AlsaRecoveryPace::mostBarrenTries);
  loop_->stop();
  EXPECT_EQ(loop_->failure(), -EPIPE);
  EXPECT_EQ(loop_->framesPlayed(), 500);
}

}  // namespace
}  // namespace tolvane
