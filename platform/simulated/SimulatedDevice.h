#pragma once
// A simulated device and its streams: the script's live actions, and the property values that follow from them.
// Player's thread. Made and kept by SimulatedAudioHardware, also while it is unplugged; its ids stay.

#include <cstddef>
#include <expected>
#include <functional>
#include <string>
#include <vector>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/SimulatedDeviceConfig.h"

namespace tolvane {

class SimulatedOutputUnit;

class SimulatedDevice {
 public:
  /// What a device needs from the hardware it belongs to.
  struct Surroundings {
    ManualRunLoop& runLoop;
    std::function<void(AudioObjectID, const AudioObjectPropertyAddress&)> notify;
    std::function<AudioObjectID()> newObjectID;
  };

  SimulatedDevice(AudioObjectID id, SimulatedDeviceConfig config, Surroundings surroundings);
  SimulatedDevice(const SimulatedDevice&) = delete;
  SimulatedDevice& operator=(const SimulatedDevice&) = delete;

  [[nodiscard]] AudioObjectID id() const { return id_; }
  [[nodiscard]] const SimulatedDeviceConfig& config() const { return config_; }
  [[nodiscard]] const std::vector<AudioObjectID>& streamIDs() const { return streamIDs_; }

  // The script. Each notifies listeners as real hardware does.

  void setNominalRateFromOutside(double hertz);
  void setClockErrorPPM(double ppm);
  void setHogOwner(std::int32_t pid);
  /// Pins what the stream reports; nothing unpins it.
  void setPhysicalFormat(std::size_t stream, std::optional<AudioStreamBasicDescription> format);
  void setStreamActive(std::size_t stream, bool isActive);
  /// New streams with new ids.
  void changeStreams(std::vector<SimulatedStreamConfig> streams);
  void setBufferFrameSize(std::uint32_t frames);
  void setReopeningIsDue(bool isDue);
  void setAlterations(std::vector<SampleAlteration> alterations);
  /// Announces a property without changing it, as some drivers do.
  void notifyAbout(FourCharCode selector, FourCharCode scope = kAudioObjectPropertyScopeGlobal);
  void notifyAboutStream(std::size_t stream, FourCharCode selector);
  /// What else the script says; changing it announces nothing. (bufferFrameSize, rates: as for a new device.)
  [[nodiscard]] SimulatedDeviceConfig& script() { return config_; }

  // Faults while units play.

  void stall();  ///< the clock stands still, nothing is pulled, the unit reports that it runs
  void goOn();
  void stopByItself(OSStatus renderError = noErr);  ///< the units report that they do not run
  void raiseRenderError(OSStatus status);
  void underrun(RunLoop::Duration silence);
  void setSampleTimeReadable(bool isReadable) { sampleTimeIsReadable_ = isReadable; }

  /// The bytes that were played, in the client's format and the order of the device's channels (only if the script sets
  /// `captures`).
  [[nodiscard]] const std::vector<std::byte>& heard();
  void forgetHeard() { heard_.clear(); }
  /// The depth of the source that was set on the unit opened last; 0: unknown.
  [[nodiscard]] std::uint32_t sourceBits() const { return sourceBits_; }

  // For SimulatedAudioHardware.

  [[nodiscard]] bool isPresent() const { return isPresent_; }
  void unplug();
  void plugIn() { isPresent_ = true; }
  /// The stream with that id, or nothing.
  [[nodiscard]] std::optional<std::size_t> streamIndex(AudioObjectID object) const;
  /// REQUIRES: `object` is this device or one of its streams, here and below.
  [[nodiscard]] PropertyScript& properties(AudioObjectID object);
  /// Whether this kind of hardware lacks a property that devices may have; the script's own are not considered.
  [[nodiscard]] bool lacks(FourCharCode selector) const;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> read(AudioObjectID object, FourCharCode selector) const;
  [[nodiscard]] bool isSettable(FourCharCode selector) const;
  [[nodiscard]] OSStatus setNominalRate(double hertz);
  [[nodiscard]] OSStatus toggleHog();

  // For SimulatedOutputUnit.

  [[nodiscard]] OSStatus open(SimulatedOutputUnit& unit);
  void close(SimulatedOutputUnit& unit);
  [[nodiscard]] std::size_t openUnitCount() const { return openUnits_.size(); }
  [[nodiscard]] std::uint32_t periodFrames() const;
  [[nodiscard]] bool isStalled() const { return isStalled_; }
  [[nodiscard]] bool sampleTimeIsReadable() const { return sampleTimeIsReadable_; }
  void hear(std::span<const std::byte> bytes) { heard_.insert(heard_.end(), bytes.begin(), bytes.end()); }

 private:
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> readDevice(FourCharCode selector) const;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> readStream(std::size_t stream, FourCharCode selector) const;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> actualRate() const;
  [[nodiscard]] AudioStreamBasicDescription physicalFormat(std::size_t stream) const;
  void rateHasChanged(double hertz);
  void chooseFormats(const AudioStreamBasicDescription& client);
  void makeStreamIDs();
  void setChannelAlteration(std::optional<SampleAlteration> alteration);
  [[nodiscard]] std::vector<SampleAlteration> alterations() const;

  const AudioObjectID id_;
  SimulatedDeviceConfig config_;
  Surroundings surroundings_;

  std::vector<AudioObjectID> streamIDs_;
  std::vector<std::size_t> formatInUse_;  // a stream's index into its physicalFormats
  std::vector<SimulatedOutputUnit*> openUnits_;
  std::optional<SampleAlteration> channelAlteration_;  ///< by the unit that was opened last
  std::uint32_t sourceBits_ = 0;
  double pendingRate_ = 0;
  double settledActualRate_ = 0;
  std::unique_ptr<ManualRunLoop::HardwareAlarm> rateAlarm_;
  std::unique_ptr<ManualRunLoop::HardwareAlarm> actualRateAlarm_;
  bool isPresent_ = true;
  bool isStalled_ = false;
  bool sampleTimeIsReadable_ = true;
  std::vector<std::byte> heard_;
};

}  // namespace tolvane
