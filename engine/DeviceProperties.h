#pragma once
// The engine's view of one output device: rates, streams, hog mode. Player's thread. Never throws or logs: a missing
// property or a failure becomes an empty result or a report. The waits for a rate block, each for at most 250 ms.

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

  /// Whether another program waits for the output on this device to be reopened.
  [[nodiscard]] bool isReopeningDue(AudioObjectID deviceID) const;

  /// In the device's order; empty when there are none or they cannot be read.
  [[nodiscard]] std::vector<AudioObjectID> readOutputStreamIDs(AudioObjectID deviceID) const;

  /// The format of the first active output stream, or of the first stream whose format can be read.
  [[nodiscard]] std::optional<AudioStreamBasicDescription> readOutputPhysicalFormat(AudioObjectID deviceID) const;

  /// Reads the present owner of the device.
  [[nodiscard]] HogModeReport readHogMode(AudioObjectID deviceID) const;

  /// The error; with the process that owns the device, if that is the cause and the process is known.
  [[nodiscard]] AudioPlayerError withOwner(AudioPlayerError error, AudioObjectID deviceID) const;

  /// Takes hog mode if no process owns it, never from another owner. Only isOwnedByCurrentProcess shows success.
  [[nodiscard]] HogModeReport acquireHogMode(AudioObjectID deviceID);

  /// Releases hog mode if this process owns it.
  void releaseHogMode(AudioObjectID deviceID);

  /// Writes `requested` (hertz) as the nominal rate if the device has another rate, or is about to leave it because of
  /// an earlier request. Then waits up to 50 × 5 ms for the nominal and the actual rate to follow.
  [[nodiscard]] SampleRateReport configureSampleRate(double requested, AudioObjectID deviceID);

  /// The present rates, without a request to change them.
  [[nodiscard]] SampleRateReport readSampleRates(double requested, AudioObjectID deviceID) const;

  /// Restores the saved rate, in hertz, unless the device already has it and is not about to change to the rate that
  /// configureSampleRate() timed out on. Does not wait.
  void restoreNominalSampleRate(double saved, AudioObjectID deviceID);

  /// Waits for a restored rate that has not taken effect, up to 50 × 5 ms after it was written: otherwise the rate that
  /// the device is about to leave would be saved as the one to restore. Returns the restored rate, in hertz, if it
  /// still has not taken effect.
  std::optional<double> waitForRestoredRate(AudioObjectID deviceID);

  /// The device had no rate until the engine set it to `rate`: there is none to restore until another program chooses
  /// one.
  void setOwnRate(double rate, AudioObjectID deviceID) { ownRates_[deviceID] = rate; }
  [[nodiscard]] bool hasNoRateOfItsOwn(AudioObjectID deviceID);

  /// The preferred device, unchanged, or the system's default output device.
  [[nodiscard]] Result<AudioObjectID> resolveOutputDevice(std::optional<AudioObjectID> preferredDeviceID) const;

 private:
  [[nodiscard]] bool isSettable(AudioObjectID object, const AudioObjectPropertyAddress& address) const;
  /// Whether a device at `nominal` hertz has accepted another rate and may still change to it.
  [[nodiscard]] bool isLeaving(AudioObjectID deviceID, double nominal) const;
  void waitForRate(double requested, AudioObjectID deviceID) const;

  struct RestoredRate {
    AudioObjectID deviceID;
    double left;  ///< hertz; the device's rate when the other one was written
    double rate;  ///< hertz
    RunLoop::TimePoint writtenAt;
  };

  AudioHardware& hardware_;
  RunLoop& runLoop_;
  std::vector<RestoredRate> restoredRates_;     ///< written, and not waited for yet
  std::map<AudioObjectID, double> ownRates_;    ///< hertz
  std::map<AudioObjectID, double> pendingRates_;  ///< hertz; accepted by a device that did not adopt them in time
};

}  // namespace tolvane
