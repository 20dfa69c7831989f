#include "platform/pipewire/devices/SharedProperties.h"

#include <utility>

#include "platform/PropertyReading.h"
#include "platform/conversion/ChannelPlacement.h"
#include "platform/conversion/PcmLayout.h"
#include "platform/pipewire/facts/PathAlterations.h"
#include "platform/pipewire/units/PipeWireOutputUnit.h"

namespace tolvane {
namespace {

/// The widest integer that passes through the server's mix of 32-bit floats.
constexpr std::uint8_t bitsOfTheMix = 24;

using Value = std::expected<AudioPropertyValue, OSStatus>;

}  // namespace

Value SharedProperties::ofDevice(const PipeWireDevice& device, FourCharCode selector) const {
  switch (selector) {
    case kAudioDevicePropertyNominalSampleRate:
      if (const auto rate = nominalRate(device)) return *rate;
      return std::unexpected(kAudioHardwareNotRunningError);
    case kAudioDevicePropertyAvailableNominalSampleRates:
      return rates(device);
    case kAudioDevicePropertyActualSampleRate:
      return actualRate(device);
    case kAudioDevicePropertyStreamConfiguration:
      return std::vector<std::uint32_t>{channelCount(device)};
    case kAudioDevicePropertyBufferFrameSize: {
      // The number of frames per cycle is decided when the stream plays.
      const SoundServerStream* playing = DeviceView::playingStream(device);
      if (playing == nullptr || playing->quantum() == 0) return std::unexpected(kAudioHardwareNotRunningError);
      return playing->quantum();
    }
    default:
      return std::unexpected(kAudioHardwareUnknownPropertyError);
  }
}

Value SharedProperties::ofStream(const PipeWireDevice& device, FourCharCode selector) const {
  switch (selector) {
    case kAudioStreamPropertyIsActive:
      return DeviceView::playingStream(device) != nullptr ? std::uint32_t{1} : std::uint32_t{0};
    case kAudioStreamPropertyPhysicalFormat: {
      const auto format = physicalFormat(device);
      if (!format) return std::unexpected(format.error());
      return *format;
    }
    case kAudioStreamPropertyPhysicalFormatSource:
      return formatSource(device);
    case kAudioStreamPropertyVirtualFormat:
      if (!device.isUnitOnSink()) return std::unexpected(kAudioHardwareNotRunningError);
      return device.unit->format();
    default:
      return std::unexpected(kAudioHardwareUnknownPropertyError);
  }
}

Value SharedProperties::actualRate(const PipeWireDevice& device) const {
  const PipeWireSink* sink = view_.sinkOf(device);
  if (DeviceView::playingStream(device) == nullptr || sink == nullptr || !sink->format)
    return std::unexpected(kAudioHardwareNotRunningError);
  // The kernel's report, if there is one: the server reports only what it has requested.
  const auto actual = readProperty<double>(services_.cardHardware, device.cardDevice,
                                           globalAddress(kAudioDevicePropertyActualSampleRate));
  return actual.value_or(sink->format->rate);
}

std::uint32_t SharedProperties::channelCount(const PipeWireDevice& device) const {
  const PipeWireSink* sink = view_.sinkOf(device);
  if (sink != nullptr && sink->format) return sink->format->channels;
  return sink != nullptr && sink->maximumChannels > 0 ? sink->maximumChannels : 2;
}

std::vector<AudioValueRange> SharedProperties::rates(const PipeWireDevice& device) const {
  const PipeWireSink* sink = view_.sinkOf(device);
  if (sink != nullptr && !sink->rates.empty()) return sink->rates;
  const double rate = services_.server.facts().graphRate;
  return {{rate, rate}};
}

std::optional<double> SharedProperties::nominalRate(const PipeWireDevice& device) const {
  if (device.unit != nullptr && device.unitRate) return device.unitRate;
  if (device.chosenRate) return device.chosenRate;
  const PipeWireSink* sink = view_.sinkOf(device);
  return sink != nullptr && sink->format ? std::optional<double>(sink->format->rate) : std::nullopt;
}

std::vector<SampleAlteration> SharedProperties::alterations(const PipeWireDevice& device) const {
  const SoundServerStream* playing = DeviceView::playingStream(device);
  if (playing == nullptr) return {};
  if (!device.state.hasSink()) return {withdrawnDevice()};
  PipeWireStreamFacts stream = playing->facts();
  stream.mixerDecibels = readProperty<double>(services_.cardHardware, device.cardDevice,
                                              outputAddress(kAudioDevicePropertyVolumeDecibels));
  const auto positions = readProperty<std::vector<std::uint32_t>>(services_.cardHardware, device.cardDevice,
                                                                  outputAddress(kAudioDevicePropertyChannelPositions));
  for (const std::uint32_t position : positions.value_or(std::vector<std::uint32_t>()))
    stream.cardChannels.positions.push_back(static_cast<ChannelPosition>(position));
  auto found = alterationsOf(services_.server.facts(), *device.state.sink(), stream);
  // The stream has the positions of the track: against itself a track shows only that it does not state them.
  const ChannelLayout& channels = device.unit->channelLayout();
  if (auto alteration = placementAlteration(channels, channels)) found.push_back(*std::move(alteration));
  return found;
}

/// The kernel's report does not cover the mix in front of it.
std::string SharedProperties::formatSource(const PipeWireDevice& device) const {
  const auto kernel = readProperty<std::string>(services_.cardHardware, view_.cardStream(device),
                                                globalAddress(kAudioStreamPropertyPhysicalFormatSource));
  if (!kernel || kernel->empty()) return {};
  return *kernel + "; the server's mix in front of it carries 24 bits";
}

/// The narrowest stage between the unit and the converter: what the kernel reports for the card behind the sink, or the
/// mix. The card of a sink that is gone may play something else.
std::expected<AudioStreamBasicDescription, OSStatus> SharedProperties::physicalFormat(
    const PipeWireDevice& device) const {
  if (DeviceView::playingStream(device) == nullptr || view_.sinkOf(device) == nullptr)
    return std::unexpected(kAudioHardwareNotRunningError);
  if (device.cardDevice == kAudioObjectUnknown) return std::unexpected(kAudioDeviceUnsupportedFormatError);
  const auto format =
      services_.cardHardware.propertyData(view_.cardStream(device), globalAddress(kAudioStreamPropertyPhysicalFormat));
  if (!format) return std::unexpected(format.error());
  auto hardware = std::get<AudioStreamBasicDescription>(*format);
  auto layout = pcmLayout(hardware);
  if (!layout) return std::unexpected(kAudioDeviceUnsupportedFormatError);
  if (layout->isFloat() && layout->bytes > sizeof(float))
    return describe(floatLayout(sizeof(float)), hardware.mSampleRate, hardware.mChannelsPerFrame);
  if (layout->isFloat() || layout->bits <= bitsOfTheMix) return hardware;
  layout->alignedHigh = layout->bits == layout->bytes * 8 || layout->alignedHigh;
  layout->bits = bitsOfTheMix;
  return describe(*layout, hardware.mSampleRate, hardware.mChannelsPerFrame);
}

}  // namespace tolvane
