#include "platform/conversion/RenderPipeline.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

namespace tolvane {
namespace {

/// A resampler that consumes this many slices without output has failed: play silence instead of looping for ever.
constexpr int maximumEmptyTurns = 64;

}  // namespace

bool sameSampleRate(double a, double b) { return a > 0 && b > 0 && std::fabs(a - b) <= std::max(a * 0.00002, 1.0); }

std::unique_ptr<RenderPipeline> RenderPipeline::make(const Setup& setup) {
  const auto layout = pcmLayout(setup.client);
  const ChannelLayout client =
      setup.clientPositions.positions.empty() ? usualLayout(setup.client.mChannelsPerFrame) : setup.clientPositions;
  const ChannelLayout device =
      setup.devicePositions.positions.empty() ? unknownLayout(setup.deviceChannels) : setup.devicePositions;
  if (client.channelCount() != setup.client.mChannelsPerFrame || device.channelCount() != setup.deviceChannels)
    return nullptr;
  auto channels = ChannelMap::make(client, device);
  if (!layout || !channels || !(setup.deviceRate > 0)) return nullptr;
  std::unique_ptr<RateConverter> rate;
  if (!sameSampleRate(setup.client.mSampleRate, setup.deviceRate)) {
    rate = RateConverter::make(setup.client.mSampleRate, setup.deviceRate, channels->mixedChannels(), sliceFrames);
    if (!rate) return nullptr;
  }
  return std::unique_ptr<RenderPipeline>(new RenderPipeline(setup, *layout, *std::move(channels), std::move(rate)));
}

RenderPipeline::RenderPipeline(const Setup& setup, const PcmLayout& clientLayout, ChannelMap channels,
                               std::unique_ptr<RateConverter> rate)
    : clientLayout_(clientLayout),
      deviceLayout_(setup.device),
      clientChannels_(setup.client.mChannelsPerFrame),
      deviceChannels_(setup.deviceChannels),
      channels_(std::move(channels)),
      direct_(clientLayout_, deviceLayout_),
      widening_(clientLayout_, floatLayout(8)),
      closing_(floatLayout(8), deviceLayout_),
      rate_(std::move(rate)),
      client_(std::size_t{sliceFrames} * clientChannels_ * clientLayout_.bytes),
      narrow_(std::size_t{sliceFrames} * channels_.mixedChannels() * deviceLayout_.bytes),
      computed_(std::size_t{sliceFrames} * std::max(clientChannels_, channels_.mixedChannels())),
      resampled_(std::size_t{sliceFrames} * channels_.mixedChannels()) {}

bool RenderPipeline::reset(const AURenderCallback& callback) {
  callback_ = callback;
  return !rate_ || rate_->reset();
}

OSStatus RenderPipeline::render(std::byte* destination, std::uint32_t frames) noexcept {
  return rate_ || channels_.mixes() ? renderMixed(destination, frames) : renderMoved(destination, frames);
}

/// Requests `frames` from the callback into client_; what it does not fill is silence.
OSStatus RenderPipeline::pullSlice(std::uint32_t frames) noexcept {
  const std::size_t bytes = std::size_t{frames} * clientChannels_ * clientLayout_.bytes;
  AudioBuffer buffer{clientChannels_, static_cast<std::uint32_t>(bytes), client_.data()};
  AudioBufferList list{std::span(&buffer, 1)};
  const OSStatus status = callback_.inputProc(callback_.inputProcRefCon, frames, &list);
  std::size_t filled = status == noErr ? std::min<std::size_t>(buffer.mDataByteSize, bytes) : 0;
  filled -= filled % clientLayout_.bytes;
  fillSilence(clientLayout_, std::span(client_).subspan(filled, bytes - filled));
  return status;
}

/// Samples in any layout to the device's place: straight where the channels agree, else by way of narrow_.
void RenderPipeline::deliver(const std::byte* source, const PcmConverter& converter, std::byte* destination,
                             std::size_t frames) noexcept {
  const std::size_t samples = frames * channels_.mixedChannels();
  if (channels_.isIdentity() || channels_.mixes()) {
    converter.convert(source, destination, samples);
    return;
  }
  converter.convert(source, narrow_.data(), samples);
  channels_.spread(deviceLayout_, narrow_.data(), destination, frames);
}

OSStatus RenderPipeline::renderMoved(std::byte* destination, std::uint32_t frames) noexcept {
  OSStatus result = noErr;
  while (frames > 0) {
    const std::uint32_t slice = std::min(frames, sliceFrames);
    if (const OSStatus status = pullSlice(slice); status != noErr) result = status;
    deliver(client_.data(), direct_, destination, slice);
    destination += std::size_t{slice} * deviceChannels_ * deviceLayout_.bytes;
    frames -= slice;
  }
  return result;
}

OSStatus RenderPipeline::renderMixed(std::byte* destination, std::uint32_t frames) noexcept {
  OSStatus result = noErr;
  int emptyTurns = 0;
  while (frames > 0) {
    std::size_t count = rate_ ? rate_->pull(resampled_.data(), std::min(frames, sliceFrames)) : 0;
    if (count == 0) {
      const std::uint32_t slice = rate_ ? sliceFrames : std::min(frames, sliceFrames);
      if (const OSStatus status = pullSlice(slice); status != noErr) result = status;
      widening_.convert(client_.data(), reinterpret_cast<std::byte*>(computed_.data()),
                        std::size_t{slice} * clientChannels_);
      if (channels_.mixes()) channels_.mix(computed_.data(), slice);
      if (rate_) {
        if (rate_->push(computed_.data(), slice) == slice && ++emptyTurns < maximumEmptyTurns) continue;
        fillSilence(deviceLayout_, {destination, std::size_t{frames} * deviceChannels_ * deviceLayout_.bytes});
        return kAudioHardwareUnspecifiedError;
      }
      count = slice;
    }
    emptyTurns = 0;
    const std::vector<double>& ready = rate_ ? resampled_ : computed_;
    deliver(reinterpret_cast<const std::byte*>(ready.data()), closing_, destination, count);
    destination += count * deviceChannels_ * deviceLayout_.bytes;
    frames -= static_cast<std::uint32_t>(count);
  }
  return result;
}

std::int64_t RenderPipeline::clientFrames(std::int64_t deviceFrames) const noexcept {
  return rate_ ? rate_->clientFrames(deviceFrames) : std::max<std::int64_t>(0, deviceFrames);
}

std::vector<std::span<std::byte>> RenderPipeline::memory() {
  return {std::as_writable_bytes(std::span(client_)), std::as_writable_bytes(std::span(narrow_)),
          std::as_writable_bytes(std::span(computed_)), std::as_writable_bytes(std::span(resampled_))};
}

}  // namespace tolvane
