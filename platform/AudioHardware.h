#pragma once
// The contract of the audio device layer: a tree of objects (the system, devices, their streams) with properties that
// can be queried, read, written and observed. Lives on the player's thread; implementations never call back from inside
// a call. Adapters: platform/simulated, platform/alsa, platform/pipewire. All pass the suite in tests/platform.

#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/AudioOutputUnit.h"
#include "platform/AudioStatus.h"
#include "platform/AudioStreamBasicDescription.h"
#include "platform/SampleAlteration.h"

namespace tolvane {

/// Names a system, device or stream object. 0 names nothing. An id is never reused for other hardware while the
/// process lives, and hardware that comes back gets its old id.
using AudioObjectID = std::uint32_t;
constexpr AudioObjectID kAudioObjectUnknown = 0;
constexpr AudioObjectID kAudioObjectSystemObject = 1;

struct AudioObjectPropertyAddress {
  FourCharCode mSelector = 0;
  FourCharCode mScope = 0;
  std::uint32_t mElement = 0;

  auto operator<=>(const AudioObjectPropertyAddress&) const = default;
};

constexpr std::uint32_t kAudioObjectPropertyElementMain = 0;
constexpr FourCharCode kAudioObjectPropertyScopeGlobal = fourCharCode("glob");
constexpr FourCharCode kAudioObjectPropertyScopeOutput = fourCharCode("outp");
constexpr FourCharCode kAudioObjectPropertyScopeInput = fourCharCode("inpt");

/// The address of a property of global scope, and of one on a device's output side.
constexpr AudioObjectPropertyAddress globalAddress(FourCharCode selector) {
  return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}
constexpr AudioObjectPropertyAddress outputAddress(FourCharCode selector) {
  return {selector, kAudioObjectPropertyScopeOutput, kAudioObjectPropertyElementMain};
}

// Properties. Next to each: its object, its scope unless global, and its type in AudioPropertyValue.
constexpr FourCharCode kAudioHardwarePropertyDevices = fourCharCode("dev#");              ///< system: AudioObjectIDs
constexpr FourCharCode kAudioHardwarePropertyDefaultOutputDevice = fourCharCode("dOut");  ///< system: AudioObjectID
constexpr FourCharCode kAudioObjectPropertyName = fourCharCode("lnam");                   ///< device: string
constexpr FourCharCode kAudioDevicePropertyDeviceUID = fourCharCode("uid ");  ///< device: string, stable over restarts
constexpr FourCharCode kAudioDevicePropertyTransportType = fourCharCode("tran");      ///< device: uint32
constexpr FourCharCode kAudioDevicePropertyNominalSampleRate = fourCharCode("nsrt");  ///< device: double, hertz
constexpr FourCharCode kAudioDevicePropertyAvailableNominalSampleRates = fourCharCode("nsr#");  ///< device: ranges
constexpr FourCharCode kAudioDevicePropertyActualSampleRate = fourCharCode("asrt");  ///< device: double, hertz
constexpr FourCharCode kAudioDevicePropertyHogMode =
    fourCharCode("oink");  ///< device: int32, owner pid or -1; see below
constexpr FourCharCode kAudioDevicePropertyHogModePause =
    fourCharCode("oinp");  ///< device: double, seconds for which hog mode is refused after a failure; often absent
constexpr FourCharCode kAudioDevicePropertyReopeningIsDue =
    fourCharCode("reop");  ///< device: uint32, 1 while other users wait for its unit to be reinitialised; often absent
constexpr FourCharCode kAudioDevicePropertyHogModeOwnerName =
    fourCharCode("hogn");  ///< device: string, name of the process that owns the device, as the system has it; empty
                           ///< where no process does, or its name is not known; often absent
constexpr FourCharCode kAudioDevicePropertyDeviceIsAlive = fourCharCode("livn");  ///< device: uint32, 0 or 1
constexpr FourCharCode kAudioDevicePropertyStreams = fourCharCode("stm#");        ///< device, output: AudioObjectIDs
constexpr FourCharCode kAudioDevicePropertyStreamConfiguration =
    fourCharCode("slay");  ///< device, output: channels a stream
constexpr FourCharCode kAudioDevicePropertyBufferFrameSize = fourCharCode("fsiz");  ///< device: uint32, frames
constexpr FourCharCode kAudioDevicePropertyProcessingIsActive =
    fourCharCode("proc");  ///< device: uint32, 1 while a stage behind a unit alters its samples; often absent
constexpr FourCharCode kAudioDevicePropertySampleAlterations =
    fourCharCode("salt");  ///< device: SampleAlterations, empty while there are none; often absent; see below
constexpr FourCharCode kAudioDevicePropertyVolumeDecibels =
    fourCharCode("vold");  ///< device, output: double, the gain of its own hardware; often absent
constexpr FourCharCode kAudioDevicePropertyChannelPositions =
    fourCharCode("chps");  ///< device, output: ChannelPositions of the channels of what plays; often absent; see below
constexpr FourCharCode kAudioDevicePropertyDriver =
    fourCharCode("drvr");  ///< device: string, the kernel's name of its driver; often absent
constexpr FourCharCode kAudioDevicePropertySoundServer =
    fourCharCode("srvr");  ///< device: string, name and version of the server that units play through; absent while
                           ///< they play on the hardware itself
constexpr FourCharCode kAudioStreamPropertyIsActive = fourCharCode("sact");        ///< stream: uint32, 0 or 1
constexpr FourCharCode kAudioStreamPropertyPhysicalFormat = fourCharCode("pft ");  ///< stream: description
constexpr FourCharCode kAudioStreamPropertyPhysicalFormatSource =
    fourCharCode("pfso");  ///< stream: string, where the physical format was last read, and what proves its bits, for
                           ///< the user; empty where it could not be read; often absent
constexpr FourCharCode kAudioStreamPropertyVirtualFormat = fourCharCode("sfmt");  ///< stream: description

/// Where the owner of a device is read, and hog mode taken or released.
constexpr auto hogModeAddress = globalAddress(kAudioDevicePropertyHogMode);

// Transport types (kAudioDevicePropertyTransportType).
constexpr std::uint32_t kAudioDeviceTransportTypeUnknown = 0;
constexpr std::uint32_t kAudioDeviceTransportTypeBuiltIn = fourCharCode("bltn");
constexpr std::uint32_t kAudioDeviceTransportTypeVirtual = fourCharCode("virt");
constexpr std::uint32_t kAudioDeviceTransportTypePCI = fourCharCode("pci ");
constexpr std::uint32_t kAudioDeviceTransportTypeUSB = fourCharCode("usb ");
constexpr std::uint32_t kAudioDeviceTransportTypeFireWire = fourCharCode("1394");
constexpr std::uint32_t kAudioDeviceTransportTypeBluetooth = fourCharCode("blue");
constexpr std::uint32_t kAudioDeviceTransportTypeBluetoothLE = fourCharCode("blea");
constexpr std::uint32_t kAudioDeviceTransportTypeHDMI = fourCharCode("hdmi");
constexpr std::uint32_t kAudioDeviceTransportTypeDisplayPort = fourCharCode("dprt");

/// Rates in hertz, both ends included.
struct AudioValueRange {
  double mMinimum = 0;
  double mMaximum = 0;

  bool operator==(const AudioValueRange&) const = default;
};

using AudioPropertyValue =
    std::variant<std::uint32_t, std::int32_t, double, std::string, std::vector<std::uint32_t>,
                 AudioStreamBasicDescription, std::vector<AudioValueRange>, std::vector<SampleAlteration>>;

/// The bytes a value would take in a C property call: 4 an integer or id, 8 a rate, 40 a description, 16 a range;
/// a string is one 8-byte reference, an alteration a kind and such a reference in 16 bytes.
[[nodiscard]] std::uint32_t audioPropertyValueSize(const AudioPropertyValue& value);

/// The device layer.
///
/// Hog mode: reading gives the pid that owns the device, or -1. Writing toggles, whatever value is written: while no
/// process owns the device, the writing process takes it; while this process owns it, it releases it. A write while
/// another process owns it fails with kAudioDevicePermissionsError and changes nothing. Exclusive ownership is real:
/// other processes cannot play to the device meanwhile.
///
/// Nominal rate: a successful write may take effect later; the property and the actual rate then show it. A device that
/// is in use by another process may refuse. The actual rate may be absent, or unreadable while no stream runs; the
/// nominal rate is unreadable until a rate is chosen or a program opens the device.
///
/// Sample alterations: every alteration that the adapter can detect between a playing unit and the converter, and every
/// one that it cannot rule out. A change is notified as kAudioDevicePropertyProcessingIsActive, which every device with
/// this property also has, and which is 1 exactly while the list is not empty.
///
/// Channel positions: a ChannelPosition for each channel that the hardware is set up with, whichever process plays, as
/// its driver states them. Unreadable while nothing plays, and if the driver states none or may have invented them.
///
/// Physical format: what the hardware really uses, with its significant bits. What cannot be known is an error, never
/// a guess.
class AudioHardware {
 public:
  using Listener = std::function<void(const AudioObjectPropertyAddress&)>;
  /// Names one registration; never 0, never reused.
  using ListenerID = std::uint64_t;

  virtual ~AudioHardware() = default;

  /// False for an unknown object too.
  [[nodiscard]] virtual bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const = 0;

  /// Bytes, as audioPropertyValueSize. kAudioHardwareBadObjectError: no such object (any more);
  /// kAudioHardwareUnknownPropertyError: it lacks the property. The same two apply to all calls below.
  [[nodiscard]] virtual std::expected<std::uint32_t, OSStatus> propertyDataSize(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const = 0;

  [[nodiscard]] virtual std::expected<AudioPropertyValue, OSStatus> propertyData(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const = 0;

  /// A value of the wrong type: kAudioHardwareBadPropertySizeError; not settable: kAudioHardwareIllegalOperationError.
  [[nodiscard]] virtual OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                                 const AudioPropertyValue& value) = 0;

  [[nodiscard]] virtual std::expected<bool, OSStatus> isPropertySettable(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const = 0;

  /// The listener runs on the player's run loop, in its own turn, some time after the property changed; it receives no
  /// value. Removal of an object's hardware is notified as kAudioDevicePropertyDeviceIsAlive, and as
  /// kAudioHardwarePropertyDevices of the system object.
  [[nodiscard]] virtual std::expected<ListenerID, OSStatus> addPropertyListener(
      AudioObjectID object, const AudioObjectPropertyAddress& address, Listener listener) = 0;

  /// A notification that was queued before the removal may still arrive after it. Unknown ids are refused with
  /// kAudio_ParamError. Works for objects that have gone.
  virtual OSStatus removePropertyListener(ListenerID listener) = 0;

  /// The component that makes output units, or null when this system has none. Owned by the hardware.
  [[nodiscard]] virtual AudioOutputComponent* outputComponent() = 0;
};

}  // namespace tolvane
