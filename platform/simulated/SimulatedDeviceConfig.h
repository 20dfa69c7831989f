#pragma once
// The script of a simulated device: what it is and how it behaves. Plain values for the player's thread; a test
// states only what matters to it, the rest is an ordinary USB DAC.

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"
#include "platform/simulated/UnitFaults.h"

namespace tolvane {

struct PropertyFault {
  OSStatus status = kAudioHardwareUnspecifiedError;
  int times = UnitFaults::kAlways;
};

/// Faults of an object's properties, by selector.
struct PropertyScript {
  std::set<FourCharCode> missing{};
  std::map<FourCharCode, PropertyFault> sizeFailures{};
  std::map<FourCharCode, PropertyFault> readFailures{};
  std::map<FourCharCode, PropertyFault> writeFailures{};
  std::map<FourCharCode, PropertyFault> settableFailures{};
  std::map<FourCharCode, PropertyFault> listenerFailures{};
};

/// A physical format as hardware offers it. Its rate is that of the device: mSampleRate is ignored.
[[nodiscard]] constexpr AudioStreamBasicDescription physicalInteger(std::uint32_t bits, std::uint32_t channels = 2) {
  return linearPCM(0, channels, bits, bits <= 16 ? (bits + 7) / 8 : 4,
                   kAudioFormatFlagIsSignedInteger | (bits > 16 && bits < 32 ? kAudioFormatFlagIsAlignedHigh : 0));
}
[[nodiscard]] constexpr AudioStreamBasicDescription physicalFloat32(std::uint32_t channels = 2) {
  return float32PCM(0, channels);
}

struct SimulatedStreamConfig {
  /// A unit that runs uses the one that suits its client format best; while none ever ran, the first.
  std::vector<AudioStreamBasicDescription> physicalFormats = {physicalInteger(16), physicalInteger(24),
                                                              physicalInteger(32)};
  /// Reported whatever runs.
  std::optional<AudioStreamBasicDescription> pinnedPhysicalFormat{};
  /// Its rate stays what the description says, instead of following the device.
  bool pinnedRate = false;
  bool isActive = true;
  PropertyScript properties{};
};

enum class SimulatedActualRate : std::uint8_t {
  follows,              ///< the nominal rate, off by `clockErrorPPM`
  fixed,                ///< `fixedActualRate`, whatever was asked for
  absent,               ///< no such property
  unreadable,           ///< there, but reading fails
  readableWhileRunning  ///< as `follows` while a unit runs, else reading fails
};

struct SimulatedDeviceConfig {
  std::string name = "DAC";
  std::string uid{};  ///< empty: made from the name and the object id
  std::uint32_t transport = kAudioDeviceTransportTypeUSB;
  bool isInputOnly = false;
  std::vector<SimulatedStreamConfig> streams = {SimulatedStreamConfig{}};

  std::vector<AudioValueRange> rates = {{44100, 44100}, {48000, 48000},   {88200, 88200},
                                        {96000, 96000}, {176400, 176400}, {192000, 192000}};
  double nominalRate = 44100;  ///< hertz
  bool rateIsSettable = true;
  bool ignoresRateWrites = false;       ///< accepts them without effect
  RunLoop::Duration rateSettleDelay{};  ///< from a write until the nominal rate is the new one
  RunLoop::Duration actualRateLag{};    ///< from then until the actual rate is
  SimulatedActualRate actualRate = SimulatedActualRate::follows;
  double clockErrorPPM = 0;    ///< the crystal: actual rate and speed of consumption
  double fixedActualRate = 0;  ///< hertz

  bool hogIsSettable = true;
  bool ignoresHogWrites = false;
  std::optional<double> hogPause{};           ///< seconds, as it is reported; nothing: the device has no such property
  std::int32_t hogOwner = -1;                 ///< a pid
  std::optional<std::string> hogOwnerName{};  ///< nothing: no such property
  /// Units of this process cannot open the device while another process owns it. Off: they can (a driver that keeps
  /// shared access alive).
  bool foreignHogShutsOut = true;
  /// The alterations of the samples after a unit; nothing: the device does not have that property. The physical format
  /// stays readable: the verdict must not depend on its absence.
  std::optional<std::vector<SampleAlteration>> alterations{};
  /// Nothing: the property is absent.
  std::optional<bool> isReopeningDue{};
  std::optional<std::string> driver{};        ///< likewise
  std::optional<std::string> soundServer{};   ///< likewise
  std::optional<std::string> formatSource{};  ///< of all its streams; likewise

  /// The loudspeakers of its channels. A unit moves its client's channels to them, and reports as an alteration what is
  /// not possible. Nothing: whatever the client's channels are.
  std::optional<ChannelLayout> channelLayout{};

  std::uint32_t bufferFrameSize = 512;  ///< reported, frames
  std::uint32_t periodFrames = 0;       ///< pulled at a time; 0: bufferFrameSize, 512 if that is 0
  std::uint32_t ringPeriods = 2;        ///< buffered at most, 2 or more: a server buffers far more than it reports
  std::uint32_t unitsAtOnce = 1;        ///< units that can have it open together
  bool captures = false;                ///< keeps the bytes that were heard
  PropertyScript properties{};
};

}  // namespace tolvane
