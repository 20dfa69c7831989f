#pragma once
// What the adapters' output units share: the scope of each property, the values that were set, and when they may be
// set. A unit supplies the values that depend on playback. Player's thread.

#include <memory>
#include <utility>

#include "platform/DeliveryRecord.h"
#include "platform/adapter/OutputUnitSettings.h"

namespace tolvane {

class AdapterOutputUnit : public AudioOutputUnit {
 public:
  OSStatus setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                       const AudioUnitPropertyValue& value) override;
  std::expected<AudioUnitPropertyValue, OSStatus> property(AudioUnitProperty property, AudioUnitScope scope,
                                                           std::uint32_t element) const override;
  void setDeliveryRecord(std::shared_ptr<DeliveryRecord> record) override { deliveries_ = std::move(record); }

 protected:
  using State = OutputUnitSettings::Phase;

  [[nodiscard]] virtual bool hasDevice(AudioObjectID id) const = 0;
  /// Returns the last render error and clears it.
  [[nodiscard]] virtual std::expected<OSStatus, OSStatus> takeRenderError() const = 0;
  [[nodiscard]] virtual std::expected<bool, OSStatus> isAlive() const = 0;
  /// Frames; kAudioUnitErr_CannotDoInCurrentContext before the first start.
  [[nodiscard]] virtual std::expected<double, OSStatus> sampleTime() const = 0;

  State state_ = State::created;
  OutputUnitSettings settings_;
  std::shared_ptr<DeliveryRecord> deliveries_;  ///< null: not recorded
};

}  // namespace tolvane
