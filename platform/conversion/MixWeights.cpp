#include "platform/conversion/MixWeights.h"

#include <algorithm>
#include <array>
#include <span>

namespace tolvane {
namespace {

using enum ChannelPosition;

constexpr double minus3dB = 0.70710678118654752440;

/// Loudspeakers that stand in for one that a device lacks, each with its weight.
struct Substitute {
  std::array<ChannelPosition, 2> positions;  ///< the second is unknown where there is only one
  double weight;
};

/// The nearest first; the last of each are the front ones, which every device has that has two channels.
std::span<const Substitute> substitutesFor(ChannelPosition position) {
  static constexpr Substitute centre[] = {{{frontLeft, frontRight}, minus3dB}};
  static constexpr Substitute left[] = {
      {{rearLeft, unknown}, 1}, {{sideLeft, unknown}, 1}, {{frontLeft, unknown}, minus3dB}};
  static constexpr Substitute right[] = {
      {{rearRight, unknown}, 1}, {{sideRight, unknown}, 1}, {{frontRight, unknown}, minus3dB}};
  static constexpr Substitute rear[] = {
      {{rearLeft, rearRight}, minus3dB}, {{sideLeft, sideRight}, minus3dB}, {{frontLeft, frontRight}, 0.5}};
  static constexpr Substitute innerLeft[] = {{{frontLeft, unknown}, 1}};
  static constexpr Substitute innerRight[] = {{{frontRight, unknown}, 1}};
  static constexpr Substitute both[] = {{{frontLeft, frontRight}, 0.5}};
  switch (position) {
    case frontCentre:
    case topFrontCentre:
      return centre;
    case rearLeft:
    case sideLeft:
    case topRearLeft:
    case rearLeftOfCentre:
      return left;
    case rearRight:
    case sideRight:
    case topRearRight:
    case rearRightOfCentre:
      return right;
    case rearCentre:
    case topRearCentre:
      return rear;
    case frontLeftOfCentre:
    case topFrontLeft:
    case frontLeft:
      return innerLeft;
    case frontRightOfCentre:
    case topFrontRight:
    case frontRight:
      return innerRight;
    case topCentre:
    case unknown:
      return both;
    default:
      return {};
  }
}

std::optional<std::size_t> channelAt(const ChannelLayout& device, ChannelPosition position) {
  const auto found = std::ranges::find(device.positions, position);
  if (found == device.positions.end()) return std::nullopt;
  return static_cast<std::size_t>(found - device.positions.begin());
}

}  // namespace

std::vector<double> mixWeights(const ChannelLayout& source, const ChannelLayout& device,
                               const ChannelPlacement& placement) {
  const std::size_t columns = source.positions.size();
  const std::size_t rows = device.positions.size();
  std::vector<double> weights(rows * columns);
  const auto add = [&](std::size_t row, std::size_t column, double weight) {
    weights[row * columns + column] += weight;
  };
  for (std::size_t d = 0; d < rows; ++d) {
    if (placement.sourceOf[d]) add(d, *placement.sourceOf[d], 1);
  }
  for (const std::size_t s : placement.unplaced) {
    for (const Substitute& substitute : substitutesFor(source.positions[s])) {
      const auto first = channelAt(device, substitute.positions[0]);
      const auto second = substitute.positions[1] == unknown ? first : channelAt(device, substitute.positions[1]);
      if (!first || !second) continue;
      add(*first, s, substitute.weight);
      if (second != first) add(*second, s, substitute.weight);
      break;
    }
  }
  double loudest = 0;
  for (std::size_t d = 0; d < rows; ++d) {
    double sum = 0;
    for (std::size_t s = 0; s < columns; ++s) sum += weights[d * columns + s];
    loudest = std::max(loudest, sum);
  }
  if (loudest > 1) {
    for (double& weight : weights) weight /= loudest;
  }
  return weights;
}

}  // namespace tolvane
