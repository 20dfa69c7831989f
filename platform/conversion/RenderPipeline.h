#pragma once
// The path of the samples inside an output unit: from the render callback, in the client's format, to frames in the
// device's format. Made and reset on the player's thread; render() is for the render thread and never blocks.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/AudioOutputUnit.h"
#include "platform/ChannelLayout.h"
#include "platform/conversion/ChannelMap.h"
#include "platform/conversion/PcmConverter.h"
#include "platform/conversion/RateConverter.h"

namespace tolvane {

/// Rates within max(20 ppm, 1 Hz) of each other count as one: the device's crystal differs by more.
[[nodiscard]] bool sameSampleRate(double a, double b);

class RenderPipeline {
 public:
  struct Setup {
    AudioStreamBasicDescription client;
    PcmLayout device;
    std::uint32_t deviceChannels = 0;
    double deviceRate = 0;
    ChannelLayout clientPositions{};  ///< empty: usualLayout()
    ChannelLayout devicePositions{};  ///< empty: unknownLayout()
  };
  /// The most frames that are requested from the callback at once.
  static constexpr std::uint32_t sliceFrames = 1024;

  /// Null if there is no conversion from the client to the device.
  static std::unique_ptr<RenderPipeline> make(const Setup& setup);

  /// Before each start, while no thread renders: drops what was rendered. False: the resampler failed.
  [[nodiscard]] bool reset(const AURenderCallback& callback);

  /// Fills `frames` device frames at `destination`; where the callback fails or fills less, with silence. The last
  /// status other than noErr that the callback gave.
  OSStatus render(std::byte* destination, std::uint32_t frames) noexcept;

  /// Frames at the client's rate that have been heard when `deviceFrames` since reset() have; exact without a rate
  /// conversion, to one frame with it. Any thread, between two resets.
  [[nodiscard]] std::int64_t clientFrames(std::int64_t deviceFrames) const noexcept;

  [[nodiscard]] bool changesRate() const { return rate_ != nullptr; }
  [[nodiscard]] bool changesChannels() const { return !channels_.isIdentity(); }
  /// At least some of its output samples are computed from several input samples.
  [[nodiscard]] bool computesSamples() const { return changesRate() || channels_.mixes(); }
  /// The memory that render() uses besides its destination, so that it can be locked.
  [[nodiscard]] std::vector<std::span<std::byte>> memory();

 private:
  RenderPipeline(const Setup& setup, const PcmLayout& clientLayout, ChannelMap channels,
                 std::unique_ptr<RateConverter> rate);

  OSStatus pullSlice(std::uint32_t frames) noexcept;
  OSStatus renderMoved(std::byte* destination, std::uint32_t frames) noexcept;
  OSStatus renderMixed(std::byte* destination, std::uint32_t frames) noexcept;
  void deliver(const std::byte* source, const PcmConverter& converter, std::byte* destination,
               std::size_t frames) noexcept;

  // Constant after construction.
  const PcmLayout clientLayout_;
  const PcmLayout deviceLayout_;
  const std::uint32_t clientChannels_;
  const std::uint32_t deviceChannels_;
  const ChannelMap channels_;
  const PcmConverter direct_;    ///< client to device
  const PcmConverter widening_;  ///< client to double, where something must be computed
  const PcmConverter closing_;   ///< double to device

  // Render thread; player's thread while nothing renders.
  AURenderCallback callback_;
  std::unique_ptr<RateConverter> rate_;  ///< null where the rates agree
  std::vector<std::byte> client_;        ///< a slice as the callback gave it
  std::vector<std::byte> narrow_;        ///< a slice in the device's layout, before it is spread
  std::vector<double> computed_;         ///< a slice of the client as numbers
  std::vector<double> resampled_;
};

}  // namespace tolvane
