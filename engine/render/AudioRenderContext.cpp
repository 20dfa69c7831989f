#include "engine/render/AudioRenderContext.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace tolvane {
namespace {

std::int64_t wholeFrames(std::int64_t byteCount, const AudioStreamBasicDescription& format) {
  return format.mBytesPerFrame == 0 ? 0 : byteCount / format.mBytesPerFrame;
}

/// One sample of silence as it lies in memory. All zeros, except in offset binary, where zero is the most negative
/// value and would drive a loudspeaker to its stop when the music ends.
std::array<std::byte, 8> silentSample(const std::optional<PCMOutputLevelProcessor>& layout) {
  std::array<std::byte, 8> bytes{};
  if (!layout || layout->isFloat || layout->isSigned) return bytes;
  const std::uint64_t halfWay = std::uint64_t{1} << (layout->bitsPerSample - 1 + layout->bitShift);
  for (std::uint32_t i = 0; i < layout->bytesPerSample; ++i) {
    const std::uint32_t significance = layout->isBigEndian ? layout->bytesPerSample - 1 - i : i;
    bytes[i] = static_cast<std::byte>(halfWay >> (8 * significance));
  }
  return bytes;
}

}  // namespace

AudioRenderContext::AudioRenderContext(PcmBlock buffer, std::int64_t byteCount,
                                       const AudioStreamBasicDescription& format,
                                       std::shared_ptr<AtomicOutputLevels> outputLevels)
    : buffer_(std::move(buffer)),
      byteCount_(byteCount),
      totalFrames_(wholeFrames(byteCount, format)),
      format_(format),
      outputLevels_(std::move(outputLevels)),
      levelProcessor_(PCMOutputLevelProcessor::make(format)),
      silentSample_(silentSample(levelProcessor_)),
      silenceIsZero_(silentSample_ == std::array<std::byte, 8>{}),
      didReachEnd_(totalFrames_ == 0 ? 1 : 0) {}

void AudioRenderContext::silence(const AudioBuffer& buffer, std::size_t fromByte) const noexcept {
  if (buffer.mData == nullptr) return;
  auto* const bytes = static_cast<std::byte*>(buffer.mData);
  if (silenceIsZero_) {
    std::memset(bytes + fromByte, 0, buffer.mDataByteSize - fromByte);
  } else {
    // A processor exists, so samples have at least one byte; `fromByte` is the start of a frame.
    const std::size_t sampleBytes = levelProcessor_->bytesPerSample;
    for (std::size_t at = fromByte; at < buffer.mDataByteSize; at += sampleBytes)
      std::memcpy(bytes + at, silentSample_.data(), std::min(sampleBytes, buffer.mDataByteSize - at));
  }
}

OSStatus AudioRenderContext::render(std::uint32_t frames, AudioBufferList* ioData) noexcept {
  // seq_cst: a full barrier. Partner: renderCycleCount() on the player's thread.
  renderCycleCount_.fetch_add(1, std::memory_order_seq_cst);
  if (ioData == nullptr) return kAudio_ParamError;

  const std::int64_t bytesPerFrame = format_.mBytesPerFrame;
  if (ioData->mBuffers.size() != 1 || ioData->mBuffers[0].mData == nullptr || bytesPerFrame == 0) {
    for (const AudioBuffer& each : ioData->mBuffers) silence(each, 0);
    return kAudio_ParamError;
  }

  AudioBuffer& output = ioData->mBuffers[0];
  auto* const destination = static_cast<std::byte*>(output.mData);
  // relaxed: only this thread writes the position while the unit runs.
  std::int64_t position = currentFrame_.load(std::memory_order_relaxed);
  const std::int64_t copied = std::max<std::int64_t>(
      0, std::min({std::int64_t{frames}, output.mDataByteSize / bytesPerFrame, totalFrames_ - position}));
  // The whole buffer is silent except for the frames that are copied; zeroing that part first would only cost time.
  silence(output, static_cast<std::size_t>(copied * bytesPerFrame));
  if (copied > 0) {
    std::memcpy(destination, buffer_.data() + position * bytesPerFrame,
                static_cast<std::size_t>(copied * bytesPerFrame));
    const OutputLevels levels = outputLevels_->load();
    if (!levels.isNeutral()) {
      if (!levelProcessor_) return kAudioUnitErr_FormatNotSupported;
      levelProcessor_->apply(destination, copied, levels);
    }
    position += copied;
    // relaxed. Partner: currentFrame() on the player's thread.
    currentFrame_.store(position, std::memory_order_relaxed);
  }
  if (position >= totalFrames_) setReachedEnd(true);
  output.mDataByteSize =
      static_cast<std::uint32_t>(std::min<std::int64_t>(std::int64_t{frames} * bytesPerFrame, output.mDataByteSize));
  return noErr;
}

OSStatus AudioRenderContext::renderCallback(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept {
  return static_cast<AudioRenderContext*>(refCon)->render(frames, ioData);
}

void AudioRenderContext::seek(std::int64_t toFrame) noexcept {
  const std::int64_t frame = std::clamp<std::int64_t>(toFrame, 0, totalFrames_);
  // relaxed: the unit is stopped, and starting it orders this before render().
  currentFrame_.store(frame, std::memory_order_relaxed);
  setReachedEnd(frame >= totalFrames_);
}

std::size_t AudioRenderContext::bytesIn(double seconds) const noexcept {
  const double bytes = seconds * format_.mSampleRate * format_.mBytesPerFrame;
  return static_cast<std::size_t>(std::clamp(bytes, 0.0, static_cast<double>(byteCount_)));
}

std::size_t AudioRenderContext::currentByte() const noexcept {
  return static_cast<std::size_t>(currentFrame()) * format_.mBytesPerFrame;
}

bool AudioRenderContext::isInMemory(double seconds) const { return buffer_.isInMemory(currentByte(), bytesIn(seconds)); }

void AudioRenderContext::bringIntoMemory(double seconds) const noexcept {
  buffer_.bringIntoMemory(currentByte(), bytesIn(seconds));
}

void AudioRenderContext::setReachedEnd(bool reached) noexcept {
  std::uint32_t opposite = reached ? 0 : 1;
  // seq_cst: a full barrier. Partner: didReachEnd() on the player's thread, which then sees the position that was
  // written before.
  didReachEnd_.compare_exchange_strong(opposite, reached ? 1 : 0, std::memory_order_seq_cst, std::memory_order_seq_cst);
}

}  // namespace tolvane
