#pragma once
// What the properties of a device are while it is reached through a sink. Player's thread; changes nothing.

#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "platform/SampleAlteration.h"
#include "platform/pipewire/devices/DeviceView.h"

namespace tolvane {

class SharedProperties {
 public:
  SharedProperties(const DeviceServices& services, const DeviceView& view) : services_(services), view_(view) {}

  /// Those that the way to a device decides; kAudioHardwareUnknownPropertyError for the others.
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> ofDevice(const PipeWireDevice& device,
                                                                     FourCharCode selector) const;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> ofStream(const PipeWireDevice& device,
                                                                     FourCharCode selector) const;

  /// What the sink's hardware takes; where the server does not report that, the rate that its graph has.
  [[nodiscard]] std::vector<AudioValueRange> rates(const PipeWireDevice& device) const;
  /// A sink that the server has not opened has none: the rate it would be opened at is unknown.
  [[nodiscard]] std::optional<double> nominalRate(const PipeWireDevice& device) const;
  /// Why what the unit renders is not what the hardware gets; empty while it is, or while no unit plays through a sink.
  [[nodiscard]] std::vector<SampleAlteration> alterations(const PipeWireDevice& device) const;

 private:
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> actualRate(const PipeWireDevice& device) const;
  [[nodiscard]] std::uint32_t channelCount(const PipeWireDevice& device) const;
  [[nodiscard]] std::expected<AudioStreamBasicDescription, OSStatus> physicalFormat(const PipeWireDevice& device) const;
  [[nodiscard]] std::string formatSource(const PipeWireDevice& device) const;

  const DeviceServices services_;
  const DeviceView& view_;
};

}  // namespace tolvane
