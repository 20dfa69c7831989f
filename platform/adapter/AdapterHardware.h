#pragma once
// What the device adapters share: one table of which object has each property and which properties are writable, the
// order in which a call is checked, and the property listeners. An adapter supplies its objects and values. Player's
// thread.

#include <expected>
#include <optional>
#include <utility>

#include "platform/AudioHardware.h"
#include "platform/RunLoop.h"
#include "platform/adapter/PropertyListeners.h"

namespace tolvane {

class AdapterHardware : public AudioHardware {
 public:
  bool hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const override;
  std::expected<std::uint32_t, OSStatus> propertyDataSize(AudioObjectID object,
                                                          const AudioObjectPropertyAddress& address) const override;
  std::expected<AudioPropertyValue, OSStatus> propertyData(AudioObjectID object,
                                                           const AudioObjectPropertyAddress& address) const override;
  OSStatus setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                           const AudioPropertyValue& value) override;
  std::expected<bool, OSStatus> isPropertySettable(AudioObjectID object,
                                                   const AudioObjectPropertyAddress& address) const override;
  std::expected<ListenerID, OSStatus> addPropertyListener(AudioObjectID object,
                                                          const AudioObjectPropertyAddress& address,
                                                          Listener listener) override;
  OSStatus removePropertyListener(ListenerID listener) override;

 protected:
  enum class Kind : std::uint8_t { system, device, stream };

  /// The run loop, which delivers notifications, outlives the hardware.
  explicit AdapterHardware(RunLoop& runLoop) : listeners_(runLoop) {}

  // Supplied by an adapter. In calls with a selector, the object exists and its kind may have the property.

  /// Nothing: there is no such object (any more).
  [[nodiscard]] virtual std::optional<Kind> kindOf(AudioObjectID object) const = 0;
  /// Whether this object lacks a property that its kind may have.
  [[nodiscard]] virtual bool lacks(AudioObjectID object, FourCharCode selector) const = 0;
  [[nodiscard]] virtual std::expected<AudioPropertyValue, OSStatus> value(Kind kind, AudioObjectID object,
                                                                          FourCharCode selector) const = 0;
  /// A device may refuse writes that others accept.
  [[nodiscard]] virtual bool isFixed(AudioObjectID, FourCharCode) const { return false; }
  [[nodiscard]] virtual OSStatus setNominalRate(AudioObjectID device, double hertz) = 0;
  [[nodiscard]] virtual OSStatus toggleHog(AudioObjectID device) = 0;

  /// Checks that the object exists and has the property.
  [[nodiscard]] OSStatus addressStatus(AudioObjectID object, const AudioObjectPropertyAddress& address) const;
  /// Checks also that the property can be written.
  [[nodiscard]] OSStatus writeStatus(AudioObjectID object, const AudioObjectPropertyAddress& address) const;

  /// A value as a property; or the status, for an object that cannot read it at the moment.
  template <typename Value>
  [[nodiscard]] static std::expected<AudioPropertyValue, OSStatus> asProperty(std::expected<Value, OSStatus> value) {
    if (!value) return std::unexpected(value.error());
    return AudioPropertyValue(*std::move(value));
  }

  [[nodiscard]] PropertyListeners& listeners() { return listeners_; }
  [[nodiscard]] const PropertyListeners& listeners() const { return listeners_; }

 private:
  PropertyListeners listeners_;
};

}  // namespace tolvane
