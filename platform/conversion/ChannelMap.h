#pragma once
// Which device channel gets which source channel where a device cannot take the source's own number of channels.
// Made on the main thread; spread() and mix() are real-time safe.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/conversion/PcmLayout.h"

namespace tolvane {

/// Fewer source channels than the device has: moved sample for sample, mono to the first two, the others silent.
/// More of them, up to eight in WAVE order, on a stereo or mono device: mixed down in floating point.
class ChannelMap {
 public:
  /// Nothing where no honest mapping is known.
  static std::optional<ChannelMap> make(std::uint32_t sourceChannels, std::uint32_t deviceChannels);

  [[nodiscard]] bool isIdentity() const { return source_ == device_; }
  [[nodiscard]] bool mixes() const { return source_ > device_; }
  /// Channels that the samples have after mix(), before spread().
  [[nodiscard]] std::uint32_t mixedChannels() const { return mixes() ? device_ : source_; }

  /// REQUIRES: !mixes(). Frames of the source's channels to frames of the device's, in the device's layout.
  void spread(const PcmLayout& layout, const std::byte* source, std::byte* destination,
              std::size_t frames) const noexcept;

  /// REQUIRES: mixes(). In place: the first mixedChannels() × `frames` values are the result.
  void mix(double* samples, std::size_t frames) const noexcept;

 private:
  ChannelMap(std::uint32_t source, std::uint32_t device);

  std::uint32_t source_;
  std::uint32_t device_;
  std::vector<double> weights_;  ///< device_ rows of source_ weights; empty without a mix
};

}  // namespace tolvane
