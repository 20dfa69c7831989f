#pragma once
// The properties of a device while it is reached through a sink. Player's thread; changes nothing.

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

  /// Those that depend on the path to the device; kAudioHardwareUnknownPropertyError for the others.
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> ofDevice(const PipeWireDevice& device,
                                                                     FourCharCode selector) const;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> ofStream(const PipeWireDevice& device,
                                                                     FourCharCode selector) const;

  /// The rates that the sink's hardware accepts; the graph's rate if the server does not report them.
  [[nodiscard]] std::vector<AudioValueRange> rates(const PipeWireDevice& device) const;
  /// A sink that the server has not opened has no rate: the one that it would be opened at is unknown.
  [[nodiscard]] std::optional<double> nominalRate(const PipeWireDevice& device) const;
  /// Why the hardware gets other samples than the unit renders; empty if it gets the same, or without a unit on a sink.
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
