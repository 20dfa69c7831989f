#pragma once
// An output unit of simulated hardware: pulls a period at a time into a ring of a few and "plays" it on the manual
// clock. Everything happens on the player's thread, the render callback in hardware events of the run loop: never inside
// a call. Made by SimulatedAudioHardware, which outlives it.

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/adapter/AdapterOutputUnit.h"
#include "platform/conversion/ChannelMap.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/SimulatedClock.h"
#include "platform/simulated/UnitFaults.h"

namespace tolvane {

class SimulatedAudioHardware;
class SimulatedDevice;

class SimulatedOutputUnit final : public AdapterOutputUnit {
 public:
  explicit SimulatedOutputUnit(SimulatedAudioHardware& hardware);
  SimulatedOutputUnit(const SimulatedOutputUnit&) = delete;
  SimulatedOutputUnit& operator=(const SimulatedOutputUnit&) = delete;
  ~SimulatedOutputUnit() override;

  [[nodiscard]] OSStatus setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                                     const AudioUnitPropertyValue& value) override;
  [[nodiscard]] std::expected<AudioUnitPropertyValue, OSStatus> property(AudioUnitProperty property,
                                                                         AudioUnitScope scope,
                                                                         std::uint32_t element) const override;
  [[nodiscard]] OSStatus initialize() override;
  OSStatus uninitialize() override;
  [[nodiscard]] OSStatus start() override;
  [[nodiscard]] OSStatus stop() override;
  [[nodiscard]] std::int64_t framesPlayed() const override { return framesPlayed_; }
  [[nodiscard]] std::uint64_t underrunCount() const override { return underrunCount_; }

  // Events of the device, reported by SimulatedDevice.

  [[nodiscard]] bool isPlaying() const { return state_ == State::running && !hasDied_; }
  /// REQUIRES: initialised.
  [[nodiscard]] const AudioStreamBasicDescription& clientFormat() const { return settings_.format(); }
  /// REQUIRES: initialised.
  [[nodiscard]] const ChannelLayout& clientChannels() const { return settings_.channelLayout(); }
  /// 0: not stated. REQUIRES: initialised.
  [[nodiscard]] std::uint32_t sourceBits() const { return settings_.sourceBits(); }
  void deviceWentAway();
  /// `status` becomes the last render error; 0 leaves none.
  void deviceStoppedByItself(OSStatus status);
  void deviceStalled();
  void deviceWentOn();
  void deviceChangedSpeed();
  void deviceRanDry(RunLoop::Duration silence);
  void raiseRenderError(OSStatus status) { lastRenderError_ = status; }
  /// Frames of this run that the device has played.
  [[nodiscard]] std::int64_t consumedFrames() const;
  /// Hands what was heard until now to the device.
  void deliverHeard();

  /// Units alive in this process.
  [[nodiscard]] static int liveCount() { return liveCount_; }

 private:
  // AdapterOutputUnit
  [[nodiscard]] bool hasDevice(AudioObjectID id) const override;
  [[nodiscard]] std::expected<OSStatus, OSStatus> takeRenderError() const override;
  [[nodiscard]] std::expected<bool, OSStatus> isAlive() const override;
  [[nodiscard]] std::expected<double, OSStatus> sampleTime() const override;

  /// A value of the right type is traced; the script may refuse it.
  [[nodiscard]] OSStatus admit(AudioUnitProperty property, AudioUnitScope scope, const AudioUnitPropertyValue& value);
  [[nodiscard]] OSStatus admit(UnitStage stage, std::string_view what, std::string_view detail = {});
  /// Traces a call for a value that depends on playback, and returns the script's fault for it.
  [[nodiscard]] OSStatus ask(UnitStage stage, std::string_view what) const;
  [[nodiscard]] double speed() const;
  /// How the frames lie that reach the device; nothing where they are mixed.
  [[nodiscard]] std::optional<DeliveryRecord::Form> deliveryForm() const;
  void closeDevice();
  void endRun();
  void act();
  /// When the device has played a period of a full ring.
  [[nodiscard]] RunLoop::TimePoint nextPull() const;
  void pull();

  static int liveCount_;

  // Constant after construction.
  SimulatedAudioHardware& hardware_;
  ManualRunLoop& runLoop_;
  std::unique_ptr<ManualRunLoop::HardwareAlarm> alarm_;

  // From initialize() on.
  SimulatedDevice* device_ = nullptr;  // open; null when it went away
  bool deviceIsLost_ = false;
  bool hasStarted_ = false;
  double earlierFrames_ = 0;  // consumed in earlier runs
  std::uint64_t underrunCount_ = 0;
  mutable OSStatus lastRenderError_ = noErr;  // reading clears it

  // From start() on.
  bool hasDied_ = false;  // the device has stopped, the owner has not been notified
  bool isFilled_ = false;
  SimulatedClock clock_;
  std::uint32_t periodFrames_ = 0;
  std::uint32_t ringPeriods_ = 2;
  std::int64_t renderedFrames_ = 0;
  std::int64_t framesPlayed_ = 0;
  std::optional<ChannelMap> channels_;  // where they stand in another order on the device
  std::vector<std::byte> period_;
  std::vector<std::byte> moved_;    // a period with its channels where the device has them
  std::vector<std::byte> unheard_;  // rendered, not heard: only when the device captures
};

}  // namespace tolvane
