#pragma once
// Everything that render() can be asked to do, prepared beforehand so that run() does nothing but render: what the trap
// tests run under their traps.

#include <algorithm>
#include <memory>
#include <vector>

#include "engine/render/AudioRenderContext.h"
#include "engine/render/TrackSequence.h"
#include "tests/engine/render/PcmLayouts.h"

namespace tolvane::test {

class RenderDrill {
 public:
  static constexpr std::int64_t kFrames = 2000;
  static constexpr std::uint32_t kFramesABuffer = 512;

  RenderDrill() {
    for (const PcmLayout& layout : allLayouts()) {
      for (const std::uint32_t channels : {1U, 2U, 6U}) add(layout.format(channels));
    }
    add(linearPCM(44100, 2, 16, 9, kAudioFormatFlagIsSignedInteger));  // cannot be scaled
    output_.resize(std::size_t{kFramesABuffer} * 6 * 9);
  }

  /// Renders every track at every level through to its end and past it, and makes every kind of bad call. The number of
  /// results that were not as they should be.
  int run() noexcept {
    constexpr OutputLevels kLevels[] = {{1, 0}, {0.5, 0}, {0, 0}, {1, 0.5}, {1, -1}, {0.7, 0.3}};
    int wrong = 0;
    for (AudioRenderContext* const context : pointers_) {
      for (const OutputLevels levels : kLevels) {
        levels_->store(levels);
        context->seek(0);
        wrong += runTrack(*context, levels);
      }
      wrong += runBadCalls(*context);
    }
    levels_->store({1, 0});
    for (const auto& sequence : sequences_) wrong += runSequence(*sequence);
    return wrong;
  }

  [[nodiscard]] std::int64_t cycles() const {
    std::int64_t sum = 0;
    for (const auto& context : contexts_) sum += context->renderCycleCount();
    return sum;
  }

 private:
  void add(const AudioStreamBasicDescription& format) {
    PcmBlock block(static_cast<std::size_t>(kFrames * format.mBytesPerFrame));
    for (std::size_t i = 0; i < block.size(); ++i) block.data()[i] = static_cast<std::byte>(i * 31 + i / 255);
    const auto size = static_cast<std::int64_t>(block.size());
    contexts_.push_back(std::make_unique<AudioRenderContext>(std::move(block), size, format, levels_));
    pointers_.push_back(contexts_.back().get());
    sequences_.push_back(std::make_unique<TrackSequence>());
    sequences_.back()->load(silentTrack(format));
    sequences_.back()->couple(silentTrack(format));
  }
  [[nodiscard]] std::shared_ptr<AudioRenderContext> silentTrack(const AudioStreamBasicDescription& format) const {
    PcmBlock block(static_cast<std::size_t>(kFrames * format.mBytesPerFrame));
    std::ranges::fill(block.bytes(), std::byte{0});
    const auto size = static_cast<std::int64_t>(block.size());
    return std::make_shared<AudioRenderContext>(std::move(block), size, format, levels_);
  }

  /// Through the end of one track into the next, and past the end of that.
  int runSequence(TrackSequence& sequence) noexcept {
    int wrong = 0;
    for (int turn = 0; turn < 10; ++turn) {
      AudioBuffer buffer{1, static_cast<std::uint32_t>(output_.size()), output_.data()};
      AudioBufferList list{{&buffer, 1}};
      const AURenderCallback callback = sequence.callback();
      wrong += callback.inputProc(callback.inputProcRefCon, kFramesABuffer, &list) != noErr;
    }
    // The second time it plays on past the end: nothing is coupled any more.
    return wrong + (sequence.crossing() != kFrames);
  }

  int runTrack(AudioRenderContext& context, OutputLevels levels) noexcept {
    const bool refused = !context.levelProcessor() && !levels.isNeutral();
    const OSStatus expected = refused ? kAudioUnitErr_FormatNotSupported : noErr;
    int wrong = 0;
    for (int turn = 0; turn < 5; ++turn) {
      AudioBuffer buffer{1, kFramesABuffer * context.format().mBytesPerFrame, output_.data()};
      AudioBufferList list{{&buffer, 1}};
      const AURenderCallback callback = context.callback();
      wrong += callback.inputProc(callback.inputProcRefCon, kFramesABuffer, &list) != expected;
    }
    return wrong + (context.didReachEnd() == refused) + (context.currentFrame() != (refused ? 0 : kFrames));
  }

  int runBadCalls(AudioRenderContext& context) noexcept {
    AudioBuffer buffers[] = {{1, 64, output_.data()}, {1, 64, nullptr}};
    AudioBufferList two{buffers};
    AudioBufferList empty{{&buffers[1], 1}};
    AudioBufferList none;
    int wrong = 0;
    for (AudioBufferList* const list : {&two, &empty, &none, static_cast<AudioBufferList*>(nullptr)}) {
      wrong += context.render(16, list) != kAudio_ParamError;
    }
    return wrong;
  }

  std::shared_ptr<AtomicOutputLevels> levels_ = std::make_shared<AtomicOutputLevels>();
  std::vector<std::unique_ptr<AudioRenderContext>> contexts_;
  std::vector<AudioRenderContext*> pointers_;
  std::vector<std::unique_ptr<TrackSequence>> sequences_;
  std::vector<std::byte> output_;
};

}  // namespace tolvane::test
