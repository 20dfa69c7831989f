#pragma once
// Audio hardware that follows a script, with any number of devices; time comes from a manual run loop. Player's
// thread. Deterministic; obeys the contract strictly, and counts the resources that its client still holds.

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/adapter/AdapterHardware.h"
#include "platform/simulated/HardwareTrace.h"
#include "platform/simulated/SimulatedDevice.h"

namespace tolvane {

class SimulatedAudioHardware final : public AdapterHardware {
 public:
  /// The run loop outlives the hardware.
  explicit SimulatedAudioHardware(ManualRunLoop& runLoop);
  ~SimulatedAudioHardware() override;

  // The script.

  /// The first device with output becomes the default. Later devices are announced.
  AudioObjectID addDevice(SimulatedDeviceConfig config);
  /// Unplugs it: units that play on it lose it, the default moves to the next device with output.
  void removeDevice(AudioObjectID device);
  /// The same hardware comes back under its old id.
  void replug(AudioObjectID device);
  /// 0: there is no default.
  void setDefaultDevice(AudioObjectID device);
  /// Also of a device that is unplugged. REQUIRES: addDevice() gave the id.
  [[nodiscard]] SimulatedDevice& device(AudioObjectID device);
  /// Faults of the system object's properties.
  [[nodiscard]] PropertyScript& systemProperties() { return systemProperties_; }
  /// Faults of another object's properties (a device or stream that exists).
  [[nodiscard]] PropertyScript& properties(AudioObjectID object);

  [[nodiscard]] UnitFaults& unitFaults() { return unitFaults_; }
  void failNext(UnitStage stage, OSStatus status, int times = 1) { unitFaults_.failNext(stage, status, times); }
  void setHasOutputComponent(bool has) { hasComponent_ = has; }
  void setMakesNullInstances(bool makesNull) { makesNullInstances_ = makesNull; }
  /// Units report this client format, whatever they accepted.
  void setReportedClientFormat(std::optional<AudioStreamBasicDescription> format) { reportedFormat_ = format; }
  /// Off: units do not record what they hand over, which makes long simulations faster.
  void setRecordsDeliveries(bool records) { recordsDeliveries_ = records; }
  [[nodiscard]] bool recordsDeliveries() const { return recordsDeliveries_; }
  /// Units flip a bit of this frame of each run before they hand it over.
  void setFrameWithFlippedBit(std::optional<std::int64_t> frame) { frameWithFlippedBit_ = frame; }
  [[nodiscard]] std::optional<std::int64_t> frameWithFlippedBit() const { return frameWithFlippedBit_; }
  /// On: a notification that was queued before its listener's removal still arrives, as the contract allows.
  void setDeliversLateNotifications(bool delivers) { listeners().setDeliversLate(delivers); }

  [[nodiscard]] HardwareTrace& trace() { return trace_; }

  // Resources held by its client: all 0 when nothing leaks.

  [[nodiscard]] int unitCount() const { return unitCount_; }
  [[nodiscard]] std::size_t openDeviceCount() const;
  [[nodiscard]] std::size_t hogCount() const;  ///< devices that this process owns
  [[nodiscard]] std::size_t listenerCount() const { return listeners().size(); }

  // The contract.

  [[nodiscard]] std::expected<std::uint32_t, OSStatus> propertyDataSize(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const override;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> propertyData(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const override;
  [[nodiscard]] OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                         const AudioPropertyValue& value) override;
  [[nodiscard]] std::expected<bool, OSStatus> isPropertySettable(
      AudioObjectID object, const AudioObjectPropertyAddress& address) const override;
  [[nodiscard]] std::expected<ListenerID, OSStatus> addPropertyListener(AudioObjectID object,
                                                                        const AudioObjectPropertyAddress& address,
                                                                        Listener listener) override;
  OSStatus removePropertyListener(ListenerID listener) override;
  [[nodiscard]] AudioOutputComponent* outputComponent() override;

  // For SimulatedOutputUnit.

  [[nodiscard]] ManualRunLoop& runLoop() { return runLoop_; }
  /// The device with that id while it is plugged in, or null.
  [[nodiscard]] SimulatedDevice* presentDevice(AudioObjectID device) const;
  [[nodiscard]] const std::optional<AudioStreamBasicDescription>& reportedClientFormat() const {
    return reportedFormat_;
  }
  void unitWasMade() { ++unitCount_; }
  void unitHasGone() { --unitCount_; }

 private:
  class Component;

  // AdapterHardware
  [[nodiscard]] std::optional<Kind> kindOf(AudioObjectID object) const override;
  [[nodiscard]] bool lacks(AudioObjectID object, FourCharCode selector) const override;
  [[nodiscard]] std::expected<AudioPropertyValue, OSStatus> value(Kind kind, AudioObjectID object,
                                                                  FourCharCode selector) const override;
  [[nodiscard]] bool isFixed(AudioObjectID device, FourCharCode selector) const override;
  [[nodiscard]] OSStatus setNominalRate(AudioObjectID device, double hertz) override;
  [[nodiscard]] OSStatus toggleHog(AudioObjectID device) override;

  [[nodiscard]] SimulatedDevice* deviceOf(AudioObjectID object) const;
  [[nodiscard]] PropertyScript& script(AudioObjectID object) const;
  /// The status of a call before its content matters: the object or property does not exist, or the script makes it
  /// fail.
  [[nodiscard]] OSStatus fault(std::map<FourCharCode, PropertyFault> PropertyScript::* faults, AudioObjectID object,
                               const AudioObjectPropertyAddress& address) const;
  void deviceListHasChanged();
  void traceRead(FourCharCode selector) const;
  void traceWrite(FourCharCode selector, const AudioPropertyValue& value);

  ManualRunLoop& runLoop_;
  AudioObjectID lastObjectID_ = kAudioObjectSystemObject;
  std::vector<std::unique_ptr<SimulatedDevice>> devices_;
  AudioObjectID defaultDevice_ = kAudioObjectUnknown;
  mutable PropertyScript systemProperties_;
  UnitFaults unitFaults_;
  mutable HardwareTrace trace_;
  std::unique_ptr<Component> component_;
  std::optional<AudioStreamBasicDescription> reportedFormat_;
  bool recordsDeliveries_ = true;
  std::optional<std::int64_t> frameWithFlippedBit_;
  bool hasComponent_ = true;
  bool makesNullInstances_ = false;
  int unitCount_ = 0;
};

}  // namespace tolvane
