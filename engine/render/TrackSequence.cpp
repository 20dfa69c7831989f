#include "engine/render/TrackSequence.h"

#include <algorithm>
#include <utility>

namespace tolvane {

void TrackSequence::load(std::shared_ptr<AudioRenderContext> track) {
  clear();
  loaded_ = std::move(track);
  current_ = loaded_.get();
  beginRun();
}

void TrackSequence::clear() {
  // relaxed: the unit is stopped, here and in the next two operations; starting it orders these before render().
  coupled_.store(nullptr, std::memory_order_relaxed);
  crossing_.store(none, std::memory_order_relaxed);
  leave(following_);
  current_ = nullptr;
  leave(loaded_);
}

void TrackSequence::leave(std::shared_ptr<AudioRenderContext>& track) {
  if (track) earlierCycles_ += track->renderCycleCount();
  track.reset();
}

std::int64_t TrackSequence::renderCycleCount() const {
  return earlierCycles_ + (loaded_ ? loaded_->renderCycleCount() : 0) +
         (following_ ? following_->renderCycleCount() : 0);
}

void TrackSequence::beginRun() {
  rendered_ = 0;
  startFrame_ = 0;
  startPosition_ = loaded_ ? loaded_->currentFrame() : 0;
  crossing_.store(none, std::memory_order_relaxed);
}

bool TrackSequence::endRun(std::int64_t framesPlayed) {
  if (!loaded_) return false;
  const auto crossedAt = crossing();
  const bool isCrossed = crossedAt && framesPlayed >= *crossedAt;
  if (isCrossed) {
    cross();
  } else if (following_) {
    coupled_.store(nullptr, std::memory_order_relaxed);
    following_->seek(0);
    leave(following_);
  }
  current_ = loaded_.get();
  const std::int64_t unheard = positionAfter(framesPlayed);
  if (unheard < loaded_->currentFrame()) loaded_->seek(unheard);
  beginRun();
  return isCrossed;
}

void TrackSequence::couple(std::shared_ptr<AudioRenderContext> track) {
  following_ = std::move(track);
  // release. Partner: the exchange in renderAcross(), which then sees the track as it was prepared.
  coupled_.store(following_.get(), std::memory_order_release);
}

bool TrackSequence::uncouple() {
  if (!following_) return true;
  // acq_rel. Partner: the exchange in renderAcross(). Only one of the two gets the pointer.
  if (coupled_.exchange(nullptr, std::memory_order_acq_rel) == nullptr) return false;
  leave(following_);
  return true;
}

std::optional<std::int64_t> TrackSequence::crossing() const {
  // acquire. Partner: the store in renderAcross().
  const std::int64_t frame = crossing_.load(std::memory_order_acquire);
  return frame != none ? std::optional(frame) : std::nullopt;
}

void TrackSequence::cross() {
  lastCrossing_ = crossing();
  startFrame_ = *lastCrossing_;
  startPosition_ = 0;
  leave(loaded_);
  loaded_ = std::exchange(following_, nullptr);
  // relaxed: no track is coupled, so the render thread does not touch it.
  crossing_.store(none, std::memory_order_relaxed);
}

std::int64_t TrackSequence::positionAfter(std::int64_t framesPlayed) const {
  if (!loaded_) return 0;
  return std::clamp<std::int64_t>(startPosition_ + framesPlayed - startFrame_, startPosition_, loaded_->totalFrames());
}

OSStatus TrackSequence::render(std::uint32_t frames, AudioBufferList* ioData) noexcept {
  AudioRenderContext& track = *current_;
  const std::int64_t left = track.totalFrames() - track.currentFrame();
  // relaxed: a cheap first check; the exchange decides.
  const bool mayCross = left < std::int64_t{frames} && coupled_.load(std::memory_order_relaxed) != nullptr;
  const OSStatus status =
      mayCross && ioData != nullptr ? renderAcross(track, left, frames, *ioData) : track.render(frames, ioData);
  rendered_ += frames;
  return status;
}

OSStatus TrackSequence::renderAcross(AudioRenderContext& ending, std::int64_t left, std::uint32_t frames,
                                     AudioBufferList& list) noexcept {
  const std::size_t bytes = static_cast<std::size_t>(left) * ending.format().mBytesPerFrame;
  const bool isOne = list.mBuffers.size() == 1 && list.mBuffers[0].mData != nullptr;
  // A buffer too small for the remaining frames ends before the crossing; the track refuses a malformed list.
  if (!isOne || list.mBuffers[0].mDataByteSize <= bytes) return ending.render(frames, &list);

  // acq_rel. Partners: couple(), uncouple().
  AudioRenderContext* const next = coupled_.exchange(nullptr, std::memory_order_acq_rel);
  if (next == nullptr) return ending.render(frames, &list);
  AudioBuffer& output = list.mBuffers[0];
  AudioBuffer first{output.mNumberChannels, static_cast<std::uint32_t>(bytes), output.mData};
  AudioBuffer second{output.mNumberChannels, static_cast<std::uint32_t>(output.mDataByteSize - bytes),
                     static_cast<std::byte*>(output.mData) + bytes};
  current_ = next;

  OSStatus status = noErr;
  AudioBufferList part{{&first, 1}};
  if (left > 0) status = ending.render(static_cast<std::uint32_t>(left), &part);
  part = {{&second, 1}};
  if (status == noErr) status = next->render(frames - static_cast<std::uint32_t>(left), &part);
  output.mDataByteSize = static_cast<std::uint32_t>(bytes) + second.mDataByteSize;
  // release. Partner: crossing(): from here on the player's thread may release the ending track.
  crossing_.store(rendered_ + left, std::memory_order_release);
  return status;
}

OSStatus TrackSequence::renderCallback(void* refCon, std::uint32_t frames, AudioBufferList* ioData) noexcept {
  return static_cast<TrackSequence*>(refCon)->render(frames, ioData);
}

}  // namespace tolvane
