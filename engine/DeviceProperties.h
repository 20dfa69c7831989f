#pragma once
// The engine's view of one output device: rates, streams, hog mode. Player's thread. Never throws or logs: what is
// missing or fails becomes an empty result or a report. The waits for a rate block, each for at most 250 ms.

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "engine/AudioPlayerError.h"
#include "engine/HogModeReport.h"
#include "engine/SampleRateReport.h"
#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"

namespace tolvane {

class DeviceProperties {
 public:
  DeviceProperties(AudioHardware& hardware, RunLoop& runLoop) : hardware_(hardware), runLoop_(runLoop) {}

  /// Any 32-bit property of global scope; nothing when absent or unreadable.
  [[nodiscard]] std::optional<std::uint32_t> readDeviceUInt32(AudioObjectID deviceID, FourCharCode selector) const;

  /// The nominal or the actual rate in hertz; nothing when absent or unreadable.
  [[nodiscard]] std::optional<double> readDeviceSampleRate(AudioObjectID deviceID, FourCharCode selector) const;

  /// Whether others wait for the output on this device to be opened anew.
  [[nodiscard]] bool isReopeningDue(AudioObjectID deviceID) const;

  /// In the device's order; empty when there are none or they cannot be read.
  [[nodiscard]] std::vector<AudioObjectID> readOutputStreamIDs(AudioObjectID deviceID) const;

  /// Of the first active output stream; else of the first stream whose format can be read.
  [[nodiscard]] std::optional<AudioStreamBasicDescription> readOutputPhysicalFormat(AudioObjectID deviceID) const;

  /// Who owns the device now.
  [[nodiscard]] HogModeReport readHogMode(AudioObjectID deviceID) const;

  /// The error, and the other process that has the device, where that is why and the process is known.
  [[nodiscard]] AudioPlayerError withOwner(AudioPlayerError error, AudioObjectID deviceID) const;

  /// Takes hog mode when nobody has it; never from another owner. Success shows only in isOwnedByCurrentProcess.
  [[nodiscard]] HogModeReport acquireHogMode(AudioObjectID deviceID);

  /// Gives hog mode back when this process has it.
  void releaseHogMode(AudioObjectID deviceID);

  /// Brings the nominal rate to `requested` hertz where it differs, or where the device is about to leave it for an
  /// earlier request, and waits up to 50 × 5 ms for nominal and actual rate to follow.
  [[nodiscard]] SampleRateReport configureSampleRate(double requested, AudioObjectID deviceID);

  /// The rates as they stand, without asking for a change.
  [[nodiscard]] SampleRateReport readSampleRates(double requested, AudioObjectID deviceID) const;

  /// Writes the saved rate in hertz back unless the device is there already, and not about to leave it for the rate
  /// that configureSampleRate() has waited for in vain; waits for nothing.
  void restoreNominalSampleRate(double saved, AudioObjectID deviceID);

  /// Waits, up to 50 × 5 ms after it was written, for a restored rate that has not arrived yet: the rate that a device
  /// leaves is not the one to come back to later. The restored rate in hertz, where it has not arrived all the same.
  std::optional<double> waitForRestoredRate(AudioObjectID deviceID);

  /// Nothing has given the device a rate, or only the engine has, which set it to `rate`: there is none to come back
  /// to, until another program chooses one.
  void setOwnRate(double rate, AudioObjectID deviceID) { ownRates_[deviceID] = rate; }
  [[nodiscard]] bool hasNoRateOfItsOwn(AudioObjectID deviceID);

  /// The preferred device as it is, else the system's default output device.
  [[nodiscard]] Result<AudioObjectID> resolveOutputDevice(std::optional<AudioObjectID> preferredDeviceID) const;

 private:
  [[nodiscard]] bool isSettable(AudioObjectID object, const AudioObjectPropertyAddress& address) const;
  /// Whether a device at `nominal` hertz has accepted another rate, and may still follow.
  [[nodiscard]] bool isLeaving(AudioObjectID deviceID, double nominal) const;
  void waitForRate(double requested, AudioObjectID deviceID) const;

  struct RestoredRate {
    AudioObjectID deviceID;
    double left;  ///< hertz; that the device had when the other was written
    double rate;  ///< hertz
    RunLoop::TimePoint writtenAt;
  };

  AudioHardware& hardware_;
  RunLoop& runLoop_;
  std::vector<RestoredRate> restoredRates_;     ///< written and not waited for
  std::map<AudioObjectID, double> ownRates_;    ///< hertz
  std::map<AudioObjectID, double> onTheirWay_;  ///< hertz; accepted by a device that had not arrived there in time
};

}  // namespace tolvane
