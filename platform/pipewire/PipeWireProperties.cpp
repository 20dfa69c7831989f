// What the properties of a device are while it is reached through a sink, and whether it is.

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>

#include "platform/PropertyReading.h"
#include "platform/conversion/ChannelPlacement.h"
#include "platform/conversion/PcmLayout.h"
#include "platform/pipewire/PipeWireAudioHardware.h"
#include "platform/pipewire/facts/PathAlterations.h"

namespace tolvane {
namespace {

/// The widest integer that passes through the server's mix of 32-bit floats.
constexpr std::uint8_t bitsOfTheMix = 24;

/// Whether the process is the server's daemon. It says its number to nobody, and a socket of the session's service
/// manager hides it: the kernel's name of it is what remains.
bool isServer(std::int32_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/comm");
  std::string name;
  return std::getline(file, name) && name == "pipewire";
}

}  // namespace

/// The stream that plays to the device's sink, if any does.
const SoundServerStream* PipeWireAudioHardware::playingStream(const Device& device) {
  return device.unit != nullptr && device.unit->isRunning() ? device.unit->stream() : nullptr;
}

std::int32_t PipeWireAudioHardware::ownProcess() { return static_cast<std::int32_t>(getpid()); }

bool PipeWireAudioHardware::expectsSink(const Device& device) const {
  return !device.sink && device.sinkExpectation.isPending(runLoop_.now());
}

bool PipeWireAudioHardware::isReachedDirectly(const Device& device) const {
  DeviceWay way{.hasCard = device.direct != kAudioObjectUnknown,
                .hasSink = device.sink.has_value(),
                .isSinkExpected = expectsSink(device)};
  if (device.unit != nullptr && device.unit->stream() != nullptr) way.unit = DeviceWay::Unit::onSink;
  if (device.unit != nullptr && device.unit->isDirect()) way.unit = DeviceWay::Unit::onCard;
  way.isOurs = way.unit == DeviceWay::Unit::none && isOurs(device);  // a question to the kernel
  return leadsToCard(way);
}

std::expected<std::int32_t, OSStatus> PipeWireAudioHardware::directOwner(const Device& device) const {
  constexpr std::int32_t noProcess = -1;
  if (device.direct == kAudioObjectUnknown) return noProcess;
  const auto owner = direct_.propertyData(device.direct, hogModeAddress);
  if (!owner) return std::unexpected(owner.error());
  const auto* const pid = std::get_if<std::int32_t>(&*owner);
  return pid != nullptr ? *pid : noProcess;
}

bool PipeWireAudioHardware::isOurs(const Device& device) const { return directOwner(device) == ownProcess(); }

std::expected<std::int32_t, OSStatus> PipeWireAudioHardware::hogOwner(const Device& device) const {
  const auto owner = directOwner(device);
  if (!owner) return owner;
  return ownerTold(*owner, ownProcess(), *owner != -1 && isServer(*owner), expectsSink(device));
}

/// Only a unit that plays through the sink has music to interrupt.
double PipeWireAudioHardware::secondsUntilRetake(const Device& device) const {
  const bool wouldMove = device.unit != nullptr && device.unit->stream() != nullptr;
  if (!wouldMove) return 0;
  return std::chrono::duration<double>(device.retakePause.left(runLoop_.now())).count();
}

/// A session manager has come while a unit plays over the card, and makes its sink when the unit lets go of it.
bool PipeWireAudioHardware::isReopeningDue(const Device& device) const {
  const bool isDirect = device.unit != nullptr && device.unit->isDirect();
  return isDirect && device.cardBefore && isSinkDue(*device.cardBefore, server_->facts().hasSessionManager) &&
         !isOurs(device);
}

AudioObjectID PipeWireAudioHardware::directStream(const Device& device) const {
  const auto streams =
      readProperty<std::vector<std::uint32_t>>(direct_, device.direct, outputAddress(kAudioDevicePropertyStreams));
  return streams && !streams->empty() ? streams->front() : kAudioObjectUnknown;
}

std::expected<AudioPropertyValue, OSStatus> PipeWireAudioHardware::deviceProperty(const Device& device,
                                                                                  FourCharCode selector) const {
  using Numbers = std::vector<std::uint32_t>;
  switch (selector) {
    case kAudioObjectPropertyName:
      return device.name;
    case kAudioDevicePropertyDeviceUID:
      return device.uid;
    case kAudioDevicePropertyTransportType:
      return device.transport;
    case kAudioDevicePropertyHogMode:
      return asProperty(hogOwner(device));
    case kAudioDevicePropertyHogModePause:
      return secondsUntilRetake(device);
    case kAudioDevicePropertyHogModeOwnerName:
      // A server that has the card owns nothing.
      if (hogOwner(device).value_or(-1) <= 0) return std::string();
      return direct_.propertyData(device.direct, globalAddress(selector));
    case kAudioDevicePropertyReopeningIsDue:
      return isReopeningDue(device) ? std::uint32_t{1} : std::uint32_t{0};
    case kAudioDevicePropertyDeviceIsAlive:
      return std::uint32_t{1};  // one that has gone is no object any more
    case kAudioDevicePropertyProcessingIsActive:
    case kAudioDevicePropertySampleAlterations:
      return alterationProperty(device, selector);
    case kAudioDevicePropertyStreams:
      return Numbers{device.stream};
    case kAudioDevicePropertySoundServer:
      return server_->serverName();
    case kAudioDevicePropertyDriver:
      return direct_.propertyData(device.direct, globalAddress(selector));
    case kAudioDevicePropertyVolumeDecibels:
    case kAudioDevicePropertyChannelPositions:
      return direct_.propertyData(device.direct, outputAddress(selector));
    default:
      break;
  }
  const bool isOfTheOutput = selector == kAudioDevicePropertyStreamConfiguration;
  if (isReachedDirectly(device))
    return direct_.propertyData(device.direct, isOfTheOutput ? outputAddress(selector) : globalAddress(selector));
  return sharedProperty(device, selector);
}

/// What alters the samples, or whether anything does. A direct side that cannot report it has nothing to report.
AudioPropertyValue PipeWireAudioHardware::alterationProperty(const Device& device, FourCharCode selector) const {
  const auto alterations = alterationsNow(device);
  if (selector == kAudioDevicePropertySampleAlterations) return alterations;
  return alterations.empty() ? std::uint32_t{0} : std::uint32_t{1};
}

std::vector<SampleAlteration> PipeWireAudioHardware::alterationsNow(const Device& device) const {
  if (!isReachedDirectly(device)) return sharedAlterations(device);
  constexpr auto address = globalAddress(kAudioDevicePropertySampleAlterations);
  if (!direct_.hasProperty(device.direct, address)) return {};
  const auto reported = readProperty<std::vector<SampleAlteration>>(direct_, device.direct, address);
  if (reported) return *reported;
  return {SampleAlteration::unreadable()};
}

std::expected<AudioPropertyValue, OSStatus> PipeWireAudioHardware::sharedProperty(const Device& device,
                                                                                  FourCharCode selector) const {
  const PipeWireSink* sink = sinkOf(device);
  const SoundServerStream* playing = playingStream(device);
  switch (selector) {
    case kAudioDevicePropertyNominalSampleRate:
      if (const auto rate = sharedNominalRate(device)) return *rate;
      return std::unexpected(kAudioHardwareNotRunningError);
    case kAudioDevicePropertyAvailableNominalSampleRates:
      return sharedRates(device);
    case kAudioDevicePropertyActualSampleRate: {
      if (playing == nullptr || sink == nullptr || !sink->format) return std::unexpected(kAudioHardwareNotRunningError);
      // The kernel's account, where there is one: the server tells what it has asked for.
      const auto actual = readProperty<double>(direct_, device.direct, globalAddress(selector));
      return actual.value_or(sink->format->rate);
    }
    case kAudioDevicePropertyStreamConfiguration: {
      std::uint32_t channels = 2;
      if (sink != nullptr && sink->maximumChannels > 0) channels = sink->maximumChannels;
      if (sink != nullptr && sink->format) channels = sink->format->channels;
      return std::vector<std::uint32_t>{channels};
    }
    case kAudioDevicePropertyBufferFrameSize:
      // What the graph will ask for at a time is decided when the stream plays.
      if (playing == nullptr || playing->quantum() == 0) return std::unexpected(kAudioHardwareNotRunningError);
      return playing->quantum();
    default:
      return std::unexpected(kAudioHardwareUnknownPropertyError);
  }
}

std::expected<AudioPropertyValue, OSStatus> PipeWireAudioHardware::streamProperty(const Device& device,
                                                                                  FourCharCode selector) const {
  if (isReachedDirectly(device)) return direct_.propertyData(directStream(device), globalAddress(selector));
  switch (selector) {
    case kAudioStreamPropertyIsActive:
      return playingStream(device) != nullptr ? std::uint32_t{1} : std::uint32_t{0};
    case kAudioStreamPropertyPhysicalFormat:
      return asProperty(sharedPhysicalFormat(device));
    case kAudioStreamPropertyPhysicalFormatSource:
      return sharedFormatSource(device);
    case kAudioStreamPropertyVirtualFormat:
      if (device.unit == nullptr || device.unit->stream() == nullptr)
        return std::unexpected(kAudioHardwareNotRunningError);
      return device.unit->format();
    default:
      return std::unexpected(kAudioHardwareUnknownPropertyError);
  }
}

/// What the sink's hardware takes; where the server does not tell, the rate that its graph has.
std::vector<AudioValueRange> PipeWireAudioHardware::sharedRates(const Device& device) const {
  const PipeWireSink* sink = sinkOf(device);
  if (sink != nullptr && !sink->rates.empty()) return sink->rates;
  const double rate = server_->facts().graphRate;
  return {{rate, rate}};
}

/// A sink that the server has not opened has none: the rate it would be opened at is unknown.
std::optional<double> PipeWireAudioHardware::sharedNominalRate(const Device& device) const {
  if (device.unit != nullptr && device.unitRate) return device.unitRate;
  if (device.chosenRate) return device.chosenRate;
  const PipeWireSink* sink = sinkOf(device);
  return sink != nullptr && sink->format ? std::optional<double>(sink->format->rate) : std::nullopt;
}

OSStatus PipeWireAudioHardware::setNominalRate(Device& device, double rate) {
  if (isReachedDirectly(device))
    return direct_.setPropertyData(device.direct, globalAddress(kAudioDevicePropertyNominalSampleRate), rate);
  if (!(rate >= 1) || rate > 10'000'000 || rate != std::floor(rate)) return kAudioDeviceUnsupportedFormatError;
  if (device.unit != nullptr && device.unit->stream() != nullptr)
    return rate == sharedNominalRate(device) ? noErr : kAudioHardwareIllegalOperationError;
  // While the sink is coming back its rates are unknown; the unit will read back the rate it runs at.
  if (device.sink && std::ranges::none_of(sharedRates(device), [rate](const AudioValueRange& range) {
        return range.mMinimum <= rate && rate <= range.mMaximum;
      }))
    return kAudioDeviceUnsupportedFormatError;
  device.chosenRate = rate;
  publish(device);
  return noErr;
}

/// Why what the unit renders is not what the hardware gets; empty while it is, or while no unit plays through a sink.
std::vector<SampleAlteration> PipeWireAudioHardware::sharedAlterations(const Device& device) const {
  const SoundServerStream* playing = playingStream(device);
  if (playing == nullptr) return {};
  if (!device.sink) return {withdrawnDevice()};
  PipeWireStreamFacts stream = playing->facts();
  stream.mixerDecibels =
      readProperty<double>(direct_, device.direct, outputAddress(kAudioDevicePropertyVolumeDecibels));
  const auto positions = readProperty<std::vector<std::uint32_t>>(direct_, device.direct,
                                                                  outputAddress(kAudioDevicePropertyChannelPositions));
  for (const std::uint32_t position : positions.value_or(std::vector<std::uint32_t>()))
    stream.cardChannels.positions.push_back(static_cast<ChannelPosition>(position));
  auto found = alterationsOf(server_->facts(), *device.sink, stream);
  // The stream has the positions of the track: against itself a track shows only that it does not state them.
  const ChannelLayout& channels = device.unit->channelLayout();
  if (auto alteration = placementAlteration(channels, channels)) found.push_back(*std::move(alteration));
  return found;
}

/// The kernel's account says nothing of the mix in front of it.
std::string PipeWireAudioHardware::sharedFormatSource(const Device& device) const {
  const auto kernel =
      readProperty<std::string>(direct_, directStream(device), globalAddress(kAudioStreamPropertyPhysicalFormatSource));
  if (!kernel || kernel->empty()) return {};
  return *kernel + "; the server's mix in front of it carries 24 bits";
}

/// The narrowest stage between the unit and the converter: the kernel's account of the card behind the sink, or the
/// mix. Of a sink that has gone the card may play something else.
std::expected<AudioStreamBasicDescription, OSStatus> PipeWireAudioHardware::sharedPhysicalFormat(
    const Device& device) const {
  if (playingStream(device) == nullptr || sinkOf(device) == nullptr)
    return std::unexpected(kAudioHardwareNotRunningError);
  if (device.direct == kAudioObjectUnknown) return std::unexpected(kAudioDeviceUnsupportedFormatError);
  const auto format = direct_.propertyData(directStream(device), globalAddress(kAudioStreamPropertyPhysicalFormat));
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
