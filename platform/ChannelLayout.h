#pragma once
// Which loudspeaker each channel of a stream is meant for. Plain values and pure functions for any thread. A position
// that is not stated is unknown, or is marked as assumed: never silently a guess.

#include <cstdint>
#include <string_view>
#include <vector>

namespace tolvane {

/// In the order of the bits of a WAVE channel mask, from frontLeft (bit 0) to topRearRight (bit 17).
enum class ChannelPosition : std::uint8_t {
  frontLeft,
  frontRight,
  frontCentre,
  lowFrequency,
  rearLeft,
  rearRight,
  frontLeftOfCentre,
  frontRightOfCentre,
  rearCentre,
  sideLeft,
  sideRight,
  topCentre,
  topFrontLeft,
  topFrontCentre,
  topFrontRight,
  topRearLeft,
  topRearCentre,
  topRearRight,
  // Not in the mask.
  rearLeftOfCentre,
  rearRightOfCentre,
  mono,    ///< the only channel
  silent,  ///< a device's channel that no loudspeaker plays
  unknown
};
constexpr std::uint32_t maskedPositionCount = 18;

struct ChannelLayout {
  std::vector<ChannelPosition> positions;  ///< one per channel, in the order of a frame
  bool isStated = true;                    ///< false: the positions are not stated but assumed

  bool operator==(const ChannelLayout&) const = default;

  [[nodiscard]] std::uint32_t channelCount() const { return static_cast<std::uint32_t>(positions.size()); }
  [[nodiscard]] bool has(ChannelPosition position) const;
};

/// The usual positions for this number of channels: stated for one channel (mono) and two (front left and right),
/// assumed for more: the order of WAVE and FLAC for up to eight channels, unknown positions beyond.
[[nodiscard]] ChannelLayout usualLayout(std::uint32_t channels);

/// What a WAVE channel mask states for this number of channels: its positions from the lowest bit on, then unknown
/// ones. Excess bits are ignored. An empty mask states nothing. One and two channels have their usual positions.
[[nodiscard]] ChannelLayout layoutOfMask(std::uint32_t mask, std::uint32_t channels);

/// `positions` as stated; for one and two channels the usual ones, except that front right may come first.
[[nodiscard]] ChannelLayout statedLayout(std::vector<ChannelPosition> positions);

/// Unknown positions for this number of channels; usualLayout() for one and two.
[[nodiscard]] ChannelLayout unknownLayout(std::uint32_t channels);

/// "centre", "rear left": to be followed by "channel" in a sentence.
[[nodiscard]] std::string_view positionText(ChannelPosition position);

}  // namespace tolvane
