#include "platform/conversion/ChannelMap.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/conversion/MixWeights.h"

namespace tolvane {
namespace {

constexpr std::uint32_t mostMixedChannels = 64;

std::vector<double> stereoWeights(const ChannelLayout& source) {
  const ChannelLayout stereo = usualLayout(2);
  return mixWeights(source, stereo, placeChannels(source, stereo));
}

/// The weights of a mono device: both channels of a mix to stereo.
std::vector<double> monoWeights(const ChannelLayout& source) {
  const std::vector<double> both = stereoWeights(source);
  const std::size_t count = source.positions.size();
  std::vector<double> weights(count);
  double sum = 0;
  for (std::size_t s = 0; s < count; ++s) sum += weights[s] = both[s] + both[count + s];
  for (double& weight : weights) weight /= std::max(sum, 1.0);
  return weights;
}

/// Whether every channel that a device lacks has a loudspeaker that can replace it.
bool hasFront(const ChannelLayout& device) {
  return device.has(ChannelPosition::frontLeft) && device.has(ChannelPosition::frontRight);
}

}  // namespace

bool ChannelMap::isPossible(const ChannelLayout& source, std::uint32_t deviceChannels) {
  const std::uint32_t channels = source.channelCount();
  if (channels == 0 || deviceChannels == 0) return false;
  if (channels <= deviceChannels) return true;
  // For many channels without positions there is no meaningful mix.
  const bool isMixable = channels <= 8 || !source.has(ChannelPosition::unknown);
  return channels <= mostMixedChannels && isMixable;
}

std::uint32_t ChannelMap::chooseChannels(const ChannelLayout& source, std::uint32_t most,
                                         const std::function<bool(std::uint32_t)>& deviceTakes) {
  const auto allows = [&](std::uint32_t channels) { return isPossible(source, channels) && deviceTakes(channels); };
  for (std::uint32_t channels = source.channelCount(); channels <= most; ++channels) {
    if (allows(channels)) return channels;
  }
  if (source.channelCount() > 2 && allows(2)) return 2;
  for (std::uint32_t channels = std::min(source.channelCount(), most + 1); channels-- > 1;) {
    if (allows(channels)) return channels;
  }
  return 0;
}

std::optional<ChannelMap> ChannelMap::make(const ChannelLayout& source, const ChannelLayout& device) {
  if (!isPossible(source, device.channelCount())) return std::nullopt;
  const ChannelPlacement placement = placeChannels(source, device);
  if (!placement.unplaced.empty() && device.channelCount() > mostMixedChannels) return std::nullopt;
  return ChannelMap(source, device, placement);
}

ChannelMap::ChannelMap(const ChannelLayout& source, const ChannelLayout& device, const ChannelPlacement& placement)
    : source_(source.channelCount()), device_(device.channelCount()) {
  if (source_ > 1 && device_ == 1) {
    weights_ = monoWeights(source);
    return;
  }
  if (source_ > device_ && !hasFront(device)) {
    weights_ = stereoWeights(source);
    weights_.resize(std::size_t{source_} * device_);
    return;
  }
  if (!placement.unplaced.empty()) {
    weights_ = mixWeights(source, device, placement);
    return;
  }
  isIdentity_ = source_ == device_;
  for (std::uint32_t d = 0; d < device_; ++d) {
    const auto from = placement.sourceOf[d];
    isIdentity_ = isIdentity_ && from == d;
    if (from) moves_.push_back({static_cast<std::uint32_t>(*from), d});
  }
}

void ChannelMap::spread(const PcmLayout& layout, const std::byte* source, std::byte* destination,
                        std::size_t frames) const noexcept {
  const std::size_t bytes = layout.bytes;
  const std::size_t sourceBytes = source_ * bytes;
  const std::size_t deviceBytes = device_ * bytes;
  if (isIdentity_) {
    std::memcpy(destination, source, frames * sourceBytes);
    return;
  }
  if (moves_.size() < device_) fillSilence(layout, {destination, frames * deviceBytes});
  for (std::size_t i = 0; i < frames; ++i, source += sourceBytes, destination += deviceBytes) {
    for (const Move& move : moves_) std::memcpy(destination + move.to * bytes, source + move.from * bytes, bytes);
  }
}

void ChannelMap::mix(double* samples, std::size_t frames) const noexcept {
  const auto mixFrame = [&](std::size_t frame) {
    const double* in = samples + frame * source_;
    std::array<double, mostMixedChannels> mixed{};
    for (std::uint32_t d = 0; d < device_; ++d) {
      for (std::uint32_t s = 0; s < source_; ++s) mixed[d] += weights_[std::size_t{d} * source_ + s] * in[s];
    }
    std::memcpy(samples + frame * device_, mixed.data(), device_ * sizeof(double));
  };
  // The narrower frames lie in front of the wider ones: no result may overwrite what is still to be read.
  if (device_ <= source_) {
    for (std::size_t frame = 0; frame < frames; ++frame) mixFrame(frame);
  } else {
    for (std::size_t frame = frames; frame-- > 0;) mixFrame(frame);
  }
}

}  // namespace tolvane
