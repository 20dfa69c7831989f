#include "platform/conversion/ChannelPlacement.h"

#include <algorithm>
#include <cstdint>

namespace tolvane {
namespace {

using enum ChannelPosition;
using Positions = std::vector<ChannelPosition>;

bool hasPair(const ChannelLayout& layout, ChannelPosition left, ChannelPosition right) {
  return layout.has(left) || layout.has(right);
}

void rename(Positions& positions, ChannelPosition from, ChannelPosition to) {
  std::ranges::replace(positions, from, to);
}

/// The device's positions by the names that the source has for them.
Positions renamedFor(const ChannelLayout& source, const ChannelLayout& device) {
  Positions positions = device.positions;
  const bool sourceHasRear = hasPair(source, rearLeft, rearRight);
  const bool sourceHasSide = hasPair(source, sideLeft, sideRight);
  const bool deviceHasRear = hasPair(device, rearLeft, rearRight);
  const bool deviceHasSide = hasPair(device, sideLeft, sideRight);
  if (sourceHasSide && !sourceHasRear && deviceHasRear && !deviceHasSide) {
    rename(positions, rearLeft, sideLeft);
    rename(positions, rearRight, sideRight);
  } else if (sourceHasRear && !sourceHasSide && deviceHasSide && !deviceHasRear) {
    rename(positions, sideLeft, rearLeft);
    rename(positions, sideRight, rearRight);
  } else if (sourceHasRear && sourceHasSide && deviceHasRear && !deviceHasSide &&
             hasPair(device, rearLeftOfCentre, rearRightOfCentre)) {
    // HDMI calls the two surround pairs of 7.1 rear, and rear of centre: the pair in front is the side one. The
    // kernel's driver takes its "surround71" for the same.
    rename(positions, rearLeft, sideLeft);
    rename(positions, rearRight, sideRight);
    rename(positions, rearLeftOfCentre, rearLeft);
    rename(positions, rearRightOfCentre, rearRight);
  }
  return positions;
}

/// The first channel of the device at this position that plays nothing yet.
std::optional<std::size_t> freeChannel(const Positions& positions, const ChannelPlacement& placement,
                                       ChannelPosition wanted) {
  for (std::size_t d = 0; d < positions.size(); ++d) {
    if (positions[d] == wanted && !placement.sourceOf[d]) return d;
  }
  return std::nullopt;
}

ChannelPlacement placeMono(const ChannelLayout& device) {
  ChannelPlacement placement;
  placement.sourceOf.resize(device.positions.size());
  const auto left = freeChannel(device.positions, placement, frontLeft);
  const auto right = freeChannel(device.positions, placement, frontRight);
  if (device.positions.size() > 2) placement.isCertain = left && right;
  const bool byPosition = left && right;
  for (std::size_t d = 0; d < device.positions.size(); ++d) {
    if (byPosition ? d == left || d == right : d < 2) placement.sourceOf[d] = 0;
  }
  return placement;
}

/// Channels without a position that says where they belong keep their order, on the channels that are left.
std::vector<std::size_t> placeInOrder(const std::vector<std::size_t>& channels, const ChannelLayout& source,
                                      const Positions& positions, ChannelPlacement& placement) {
  std::vector<std::size_t> unplaced;
  for (const std::size_t s : channels) {
    auto place = freeChannel(positions, placement, unknown);
    if (!place && source.positions[s] == unknown) {
      for (std::size_t d = 0; d < positions.size() && !place; ++d) {
        if (positions[d] != silent && !placement.sourceOf[d]) place = d;
      }
    }
    if (place) {
      placement.sourceOf[*place] = s;
      placement.isCertain = false;
    } else {
      unplaced.push_back(s);
    }
  }
  return unplaced;
}

}  // namespace

ChannelPlacement placeChannels(const ChannelLayout& source, const ChannelLayout& device) {
  if (source.positions.size() == 1) return placeMono(device);
  ChannelPlacement placement;
  placement.sourceOf.resize(device.positions.size());
  placement.isCertain = source.isStated && device.isStated;
  const Positions positions = renamedFor(source, device);
  std::vector<std::size_t> remaining;
  for (std::size_t s = 0; s < source.positions.size(); ++s) {
    const ChannelPosition position = source.positions[s];
    const auto place =
        position == unknown || position == silent ? std::nullopt : freeChannel(positions, placement, position);
    if (place) {
      placement.sourceOf[*place] = s;
    } else {
      remaining.push_back(s);
    }
  }
  placement.unplaced = placeInOrder(remaining, source, positions, placement);
  return placement;
}

std::optional<SampleAlteration> placementAlteration(const ChannelLayout& source, const ChannelLayout& device) {
  using Kind = SampleAlteration::Kind;
  const std::size_t channels = source.positions.size();
  if (channels <= 2 && device.positions.size() >= channels) return std::nullopt;
  if (device.positions.size() < channels) {
    return SampleAlteration(
        Kind::converted,
        bilingual("The track's {} channels are mixed down to the device's {}.", channels, device.positions.size()),
        "Choose a device that has as many channels."_cure);
  }
  const ChannelPlacement placement = placeChannels(source, device);
  if (placement.unplaced.size() == 1) {
    const std::string_view text = positionText(source.positions[placement.unplaced.front()]);
    const bool startsWithVowel = std::string_view("aeiou").find(text.front()) != std::string_view::npos;
    const BilingualText position = inCatalogue(text);
    return SampleAlteration(
        Kind::converted,
        startsWithVowel ? bilingual("The track has an {} channel, but the device has no loudspeaker for it.", position)
                        : bilingual("The track has a {} channel, but the device has no loudspeaker for it.", position),
        "Choose a device that has one."_cure);
  }
  if (!placement.unplaced.empty()) {
    BilingualText list;
    for (const std::size_t s : placement.unplaced) list.add(inCatalogue(positionText(source.positions[s])), ", ");
    return SampleAlteration(
        Kind::converted,
        bilingual("The device has no loudspeakers for {} channels of the track: {}.", placement.unplaced.size(), list),
        "Choose a device that has them."_cure);
  }
  if (placement.isCertain) return std::nullopt;
  if (!source.isStated || source.has(unknown)) {
    return SampleAlteration(
        Kind::unknown,
        bilingual("The track does not state which loudspeakers its {} channels are meant for.", channels),
        "Save it in a format that does, such as FLAC."_cure);
  }
  return SampleAlteration(
      Kind::unknown,
      bilingual("The device does not state which loudspeakers its {} channels are for.", device.positions.size()),
      "Choose a device whose driver states them."_cure);
}

}  // namespace tolvane
