#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>
#include <vector>

#include "engine/StreamFormats.h"
#include "platform/PropertyReading.h"
#include "tools/ProbeCommands.h"

namespace tolvane {
namespace {

std::vector<AudioObjectID> streams(const AudioHardware& hardware, AudioObjectID device) {
  return readProperty<std::vector<AudioObjectID>>(hardware, device, outputAddress(kAudioDevicePropertyStreams))
      .value_or(std::vector<AudioObjectID>{});
}

/// Every device that can play.
std::vector<AudioObjectID> outputDevices(const AudioHardware& hardware) {
  auto devices = readProperty<std::vector<AudioObjectID>>(hardware, kAudioObjectSystemObject,
                                                          globalAddress(kAudioHardwarePropertyDevices))
                     .value_or(std::vector<AudioObjectID>{});
  std::erase_if(devices, [&](AudioObjectID device) { return streams(hardware, device).empty(); });
  return devices;
}

template <typename T>
Json orNull(const std::optional<T>& value) {
  return value ? Json(*value) : Json(nullptr);
}

std::string transportName(std::uint32_t transport) {
  struct Name {
    std::uint32_t type;
    std::string_view name;
  };
  constexpr std::array names{Name{kAudioDeviceTransportTypeBuiltIn, "builtIn"},
                             Name{kAudioDeviceTransportTypeVirtual, "virtual"},
                             Name{kAudioDeviceTransportTypePCI, "pci"},
                             Name{kAudioDeviceTransportTypeUSB, "usb"},
                             Name{kAudioDeviceTransportTypeFireWire, "fireWire"},
                             Name{kAudioDeviceTransportTypeBluetooth, "bluetooth"},
                             Name{kAudioDeviceTransportTypeBluetoothLE, "bluetoothLE"},
                             Name{kAudioDeviceTransportTypeHDMI, "hdmi"},
                             Name{kAudioDeviceTransportTypeDisplayPort, "displayPort"}};
  for (const Name& known : names)
    if (known.type == transport) return std::string(known.name);
  return "unknown";
}

Json describeStreams(const AudioHardware& hardware, AudioObjectID device) {
  Json list = Json::array();
  for (const AudioObjectID stream : streams(hardware, device)) {
    Json item{{"id", stream}};
    item["active"] =
        readProperty<std::uint32_t>(hardware, stream, globalAddress(kAudioStreamPropertyIsActive)).value_or(0) != 0;
    item["physicalFormat"] = nullptr;
    if (const auto format = readProperty<AudioStreamBasicDescription>(
            hardware, stream, globalAddress(kAudioStreamPropertyPhysicalFormat))) {
      Json members;
      describe(members, *format);
      members["description"] = formatDescription(*format);
      item["physicalFormat"] = std::move(members);
    }
    list.push_back(std::move(item));
  }
  return list;
}

Json describeRates(const AudioHardware& hardware, AudioObjectID device) {
  Json rates = Json::array();
  const auto ranges = readProperty<std::vector<AudioValueRange>>(
                          hardware, device, globalAddress(kAudioDevicePropertyAvailableNominalSampleRates))
                          .value_or(std::vector<AudioValueRange>{});
  for (const auto& range : ranges) {
    if (range.mMinimum == range.mMaximum)
      rates.push_back(range.mMinimum);
    else
      rates.push_back(Json::array({range.mMinimum, range.mMaximum}));
  }
  return rates;
}

Json describeDevice(const AudioHardware& hardware, AudioObjectID device, AudioObjectID defaultDevice) {
  const auto hogMode = globalAddress(kAudioDevicePropertyHogMode);
  Json line{{"id", device}};
  line["uid"] = orNull(readProperty<std::string>(hardware, device, globalAddress(kAudioDevicePropertyDeviceUID)));
  line["name"] = orNull(readProperty<std::string>(hardware, device, globalAddress(kAudioObjectPropertyName)));
  line["isDefault"] = device == defaultDevice;
  line["transport"] = transportName(
      readProperty<std::uint32_t>(hardware, device, globalAddress(kAudioDevicePropertyTransportType)).value_or(0));
  line["driver"] = orNull(readProperty<std::string>(hardware, device, globalAddress(kAudioDevicePropertyDriver)));
  line["soundServer"] =
      orNull(readProperty<std::string>(hardware, device, globalAddress(kAudioDevicePropertySoundServer)));
  line["nominalRate"] =
      orNull(readProperty<double>(hardware, device, globalAddress(kAudioDevicePropertyNominalSampleRate)));
  line["actualRate"] =
      orNull(readProperty<double>(hardware, device, globalAddress(kAudioDevicePropertyActualSampleRate)));
  line["rates"] = describeRates(hardware, device);
  line["hogSupported"] = hardware.hasProperty(device, hogMode);
  line["hogOwner"] = orNull(readProperty<std::int32_t>(hardware, device, hogMode));
  line["bufferFrames"] =
      orNull(readProperty<std::uint32_t>(hardware, device, globalAddress(kAudioDevicePropertyBufferFrameSize)));
  const auto volume = readProperty<double>(hardware, device, outputAddress(kAudioDevicePropertyVolumeDecibels));
  line["hardwareVolume"] = orNull(volume);
  if (volume && std::isinf(*volume)) line["hardwareVolume"] = "muted";  // JSON has no such number
  line["streams"] = describeStreams(hardware, device);
  return line;
}

}  // namespace

void listDevices(const AudioHardware& hardware, ProbeOutput& output) {
  const auto defaultDevice = readProperty<std::uint32_t>(hardware, kAudioObjectSystemObject,
                                                         globalAddress(kAudioHardwarePropertyDefaultOutputDevice))
                                 .value_or(kAudioObjectUnknown);
  for (const AudioObjectID device : outputDevices(hardware))
    output.print(describeDevice(hardware, device, defaultDevice));
}

AudioObjectID findDevice(const AudioHardware& hardware, const std::string& wanted) {
  const auto devices = outputDevices(hardware);
  for (const FourCharCode selector : {kAudioObjectPropertyName, kAudioDevicePropertyDeviceUID})
    for (const AudioObjectID device : devices)
      if (readProperty<std::string>(hardware, device, globalAddress(selector)) == wanted) return device;
  AudioObjectID id = kAudioObjectUnknown;
  const char* end = wanted.data() + wanted.size();
  const auto parsed = std::from_chars(wanted.data(), end, id);
  const bool isID = parsed.ec == std::errc{} && parsed.ptr == end && std::ranges::find(devices, id) != devices.end();
  return isID ? id : kAudioObjectUnknown;
}

}  // namespace tolvane
