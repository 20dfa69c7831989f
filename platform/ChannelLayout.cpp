#include "platform/ChannelLayout.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/BilingualText.h"

namespace tolvane {
namespace {

using enum ChannelPosition;
using Positions = std::vector<ChannelPosition>;

/// In the order of WAVE and FLAC.
Positions usualPositions(std::uint32_t channels) {
  switch (channels) {
    case 1:
      return {mono};
    case 2:
      return {frontLeft, frontRight};
    case 3:
      return {frontLeft, frontRight, frontCentre};
    case 4:
      return {frontLeft, frontRight, rearLeft, rearRight};
    case 5:
      return {frontLeft, frontRight, frontCentre, rearLeft, rearRight};
    case 6:
      return {frontLeft, frontRight, frontCentre, lowFrequency, rearLeft, rearRight};
    case 7:
      return {frontLeft, frontRight, frontCentre, lowFrequency, rearCentre, sideLeft, sideRight};
    case 8:
      return {frontLeft, frontRight, frontCentre, lowFrequency, rearLeft, rearRight, sideLeft, sideRight};
    default:
      return Positions(channels, unknown);
  }
}

}  // namespace

bool ChannelLayout::has(ChannelPosition position) const {
  return std::ranges::find(positions, position) != positions.end();
}

ChannelLayout usualLayout(std::uint32_t channels) { return {usualPositions(channels), channels <= 2}; }

ChannelLayout layoutOfMask(std::uint32_t mask, std::uint32_t channels) {
  if (mask == 0 || channels <= 2) return usualLayout(channels);
  ChannelLayout layout;
  for (std::uint32_t bit = 0; bit < 32 && layout.channelCount() < channels; ++bit) {
    if ((mask >> bit & 1U) == 0) continue;
    layout.positions.push_back(bit < maskedPositionCount ? static_cast<ChannelPosition>(bit) : unknown);
  }
  layout.positions.resize(channels, unknown);
  return layout;
}

ChannelLayout statedLayout(Positions positions) {
  if (positions == Positions{frontRight, frontLeft}) return {std::move(positions), true};
  if (positions.size() <= 2) return usualLayout(static_cast<std::uint32_t>(positions.size()));
  return {std::move(positions), true};
}

ChannelLayout unknownLayout(std::uint32_t channels) {
  if (channels <= 2) return usualLayout(channels);
  return {Positions(channels, unknown), false};
}

std::string_view positionText(ChannelPosition position) {
  constexpr std::array<std::string_view, 23> texts{toTranslate("front left"),
                                                   toTranslate("front right"),
                                                   toTranslate("centre"),
                                                   toTranslate("low-frequency"),
                                                   toTranslate("rear left"),
                                                   toTranslate("rear right"),
                                                   toTranslate("left of centre"),
                                                   toTranslate("right of centre"),
                                                   toTranslate("rear centre"),
                                                   toTranslate("side left"),
                                                   toTranslate("side right"),
                                                   toTranslate("top centre"),
                                                   toTranslate("top front left"),
                                                   toTranslate("top front centre"),
                                                   toTranslate("top front right"),
                                                   toTranslate("top rear left"),
                                                   toTranslate("top rear centre"),
                                                   toTranslate("top rear right"),
                                                   toTranslate("rear left of centre"),
                                                   toTranslate("rear right of centre"),
                                                   toTranslate("mono"),
                                                   toTranslate("silent"),
                                                   toTranslate("unpositioned")};
  return texts.at(static_cast<std::size_t>(position));
}

}  // namespace tolvane
