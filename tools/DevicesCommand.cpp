#include <array>
#include <charconv>

#include "engine/StreamFormats.h"
#include "tools/ProbeCommands.h"

namespace tolvane {
namespace {

constexpr AudioObjectPropertyAddress global(FourCharCode selector) {
  return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

template <typename T>
std::optional<T> read(const AudioHardware& hardware, AudioObjectID object, const AudioObjectPropertyAddress& address) {
  const auto value = hardware.propertyData(object, address);
  const T* typed = value ? std::get_if<T>(&*value) : nullptr;
  return typed != nullptr ? std::optional(*typed) : std::nullopt;
}

std::vector<AudioObjectID> streams(const AudioHardware& hardware, AudioObjectID device) {
  return read<std::vector<AudioObjectID>>(
             hardware, device,
             {kAudioDevicePropertyStreams, kAudioObjectPropertyScopeOutput, kAudioObjectPropertyElementMain})
      .value_or(std::vector<AudioObjectID>{});
}

/// Every device that can play.
std::vector<AudioObjectID> outputDevices(const AudioHardware& hardware) {
  auto devices =
      read<std::vector<AudioObjectID>>(hardware, kAudioObjectSystemObject, global(kAudioHardwarePropertyDevices))
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
    item["active"] = read<std::uint32_t>(hardware, stream, global(kAudioStreamPropertyIsActive)).value_or(0) != 0;
    item["physicalFormat"] = nullptr;
    if (const auto format =
            read<AudioStreamBasicDescription>(hardware, stream, global(kAudioStreamPropertyPhysicalFormat))) {
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
  const auto ranges =
      read<std::vector<AudioValueRange>>(hardware, device, global(kAudioDevicePropertyAvailableNominalSampleRates))
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
  const auto hogMode = global(kAudioDevicePropertyHogMode);
  Json line{{"id", device}};
  line["uid"] = orNull(read<std::string>(hardware, device, global(kAudioDevicePropertyDeviceUID)));
  line["name"] = orNull(read<std::string>(hardware, device, global(kAudioObjectPropertyName)));
  line["isDefault"] = device == defaultDevice;
  line["transport"] =
      transportName(read<std::uint32_t>(hardware, device, global(kAudioDevicePropertyTransportType)).value_or(0));
  line["nominalRate"] = orNull(read<double>(hardware, device, global(kAudioDevicePropertyNominalSampleRate)));
  line["actualRate"] = orNull(read<double>(hardware, device, global(kAudioDevicePropertyActualSampleRate)));
  line["rates"] = describeRates(hardware, device);
  line["hogSupported"] = hardware.hasProperty(device, hogMode);
  line["hogOwner"] = read<std::int32_t>(hardware, device, hogMode).value_or(-1);
  line["bufferFrames"] = orNull(read<std::uint32_t>(hardware, device, global(kAudioDevicePropertyBufferFrameSize)));
  line["streams"] = describeStreams(hardware, device);
  return line;
}

}  // namespace

void listDevices(const AudioHardware& hardware, ProbeOutput& output) {
  const auto defaultDevice =
      read<std::uint32_t>(hardware, kAudioObjectSystemObject, global(kAudioHardwarePropertyDefaultOutputDevice))
          .value_or(kAudioObjectUnknown);
  for (const AudioObjectID device : outputDevices(hardware))
    output.print(describeDevice(hardware, device, defaultDevice));
}

AudioObjectID findDevice(const AudioHardware& hardware, const std::string& wanted) {
  const auto devices = outputDevices(hardware);
  for (const FourCharCode selector : {kAudioObjectPropertyName, kAudioDevicePropertyDeviceUID})
    for (const AudioObjectID device : devices)
      if (read<std::string>(hardware, device, global(selector)) == wanted) return device;
  AudioObjectID id = kAudioObjectUnknown;
  const char* end = wanted.data() + wanted.size();
  const auto parsed = std::from_chars(wanted.data(), end, id);
  const bool isID = parsed.ec == std::errc{} && parsed.ptr == end && std::ranges::find(devices, id) != devices.end();
  return isID ? id : kAudioObjectUnknown;
}

}  // namespace tolvane
