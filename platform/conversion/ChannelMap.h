#pragma once
// Moves the channels of a source to the channels of a device, by their positions, and mixes those that have no place.
// Made on the player's thread; spread() and mix() are real-time safe.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "platform/conversion/ChannelPlacement.h"
#include "platform/conversion/PcmLayout.h"

namespace tolvane {

/// Where the device has a channel for each of the source's, samples are moved bit for bit, and the device's other
/// channels are silent. A channel whose position the device lacks is mixed into its neighbours in floating point. A
/// source with more channels than a device that does not name its front ones is mixed to stereo, for its first two.
class ChannelMap {
 public:
  /// Nothing if no correct mapping is known.
  static std::optional<ChannelMap> make(const ChannelLayout& source, const ChannelLayout& device);
  /// Whether make() succeeds with a device of so many channels, whatever their positions.
  [[nodiscard]] static bool isPossible(const ChannelLayout& source, std::uint32_t deviceChannels);
  /// With how many channels to open a device that has up to `most`: the source's; else the fewest above that; else
  /// stereo to mix into; else the most below. 0: none that can be mapped to.
  [[nodiscard]] static std::uint32_t chooseChannels(const ChannelLayout& source, std::uint32_t most,
                                                    const std::function<bool(std::uint32_t)>& deviceTakes);

  /// A frame of the source is a frame of the device.
  [[nodiscard]] bool isIdentity() const { return isIdentity_; }
  [[nodiscard]] bool mixes() const { return !weights_.empty(); }
  /// Channels that the samples have after mix(), before spread().
  [[nodiscard]] std::uint32_t mixedChannels() const { return mixes() ? device_ : source_; }

  /// REQUIRES: !mixes(). Frames of the source's channels to frames of the device's, in the device's layout.
  void spread(const PcmLayout& layout, const std::byte* source, std::byte* destination,
              std::size_t frames) const noexcept;

  /// REQUIRES: mixes(), and room for the wider of both frames. In place: the first mixedChannels() × `frames` values
  /// are the result.
  void mix(double* samples, std::size_t frames) const noexcept;

 private:
  ChannelMap(const ChannelLayout& source, const ChannelLayout& device, const ChannelPlacement& placement);

  std::uint32_t source_;
  std::uint32_t device_;
  bool isIdentity_ = false;
  /// The moves of one frame, for spread().
  struct Move {
    std::uint32_t from;
    std::uint32_t to;
  };
  std::vector<Move> moves_;
  std::vector<double> weights_;  ///< device_ rows of source_ weights; empty without a mix
};

}  // namespace tolvane
