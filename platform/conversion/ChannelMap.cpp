#include "platform/conversion/ChannelMap.h"

#include <array>
#include <cstring>
#include <utility>

namespace tolvane {
namespace {

constexpr std::uint32_t maximumMixedChannels = 8;
constexpr double minus3dB = 0.70710678118654752440;

/// Left and right weights of a speaker. The order is that of WAVE's default masks for so many channels.
using Speaker = std::pair<double, double>;
constexpr Speaker frontLeft{1, 0}, frontRight{0, 1}, centre{minus3dB, minus3dB}, lowFrequency{0, 0},
    surroundLeft{minus3dB, 0}, surroundRight{0, minus3dB}, backCentre{0.5, 0.5};

std::vector<Speaker> speakers(std::uint32_t channels) {
  switch (channels) {
    case 2:
      return {frontLeft, frontRight};
    case 3:
      return {frontLeft, frontRight, centre};
    case 4:
      return {frontLeft, frontRight, surroundLeft, surroundRight};
    case 5:
      return {frontLeft, frontRight, centre, surroundLeft, surroundRight};
    case 6:
      return {frontLeft, frontRight, centre, lowFrequency, surroundLeft, surroundRight};
    case 7:
      return {frontLeft, frontRight, centre, lowFrequency, backCentre, surroundLeft, surroundRight};
    case 8:
      return {frontLeft, frontRight, centre, lowFrequency, surroundLeft, surroundRight, surroundLeft, surroundRight};
    default:
      return {};
  }
}

}  // namespace

std::optional<ChannelMap> ChannelMap::make(std::uint32_t sourceChannels, std::uint32_t deviceChannels) {
  if (sourceChannels == 0 || deviceChannels == 0) return std::nullopt;
  if (sourceChannels > deviceChannels && (deviceChannels > 2 || sourceChannels > maximumMixedChannels)) {
    return std::nullopt;
  }
  return ChannelMap(sourceChannels, deviceChannels);
}

ChannelMap::ChannelMap(std::uint32_t source, std::uint32_t device) : source_(source), device_(device) {
  if (!mixes()) return;
  const std::vector<Speaker> from = speakers(source);
  Speaker sum{0, 0};
  for (const Speaker& speaker : from) {
    sum.first += speaker.first;
    sum.second += speaker.second;
  }
  // Weights add up to 1, so that no mix can exceed full scale.
  for (const Speaker& s : from)
    weights_.push_back(device == 2 ? s.first / sum.first : (s.first + s.second) / (sum.first + sum.second));
  if (device == 2) {
    for (const Speaker& s : from) weights_.push_back(s.second / sum.second);
  }
}

void ChannelMap::spread(const PcmLayout& layout, const std::byte* source, std::byte* destination,
                        std::size_t frames) const noexcept {
  const std::size_t sourceBytes = std::size_t{source_} * layout.bytes;
  const std::size_t deviceBytes = std::size_t{device_} * layout.bytes;
  if (isIdentity()) {
    std::memcpy(destination, source, frames * sourceBytes);
    return;
  }
  fillSilence(layout, {destination, frames * deviceBytes});
  for (std::size_t i = 0; i < frames; ++i, source += sourceBytes, destination += deviceBytes) {
    std::memcpy(destination, source, sourceBytes);
    if (source_ == 1) std::memcpy(destination + layout.bytes, source, layout.bytes);
  }
}

void ChannelMap::mix(double* samples, std::size_t frames) const noexcept {
  const double* in = samples;
  double* out = samples;
  for (std::size_t i = 0; i < frames; ++i, in += source_, out += device_) {
    std::array<double, 2> mixed{};
    for (std::uint32_t d = 0; d < device_; ++d) {
      for (std::uint32_t s = 0; s < source_; ++s) mixed[d] += weights_[std::size_t{d} * source_ + s] * in[s];
    }
    for (std::uint32_t d = 0; d < device_; ++d) out[d] = mixed[d];
  }
}

}  // namespace tolvane
