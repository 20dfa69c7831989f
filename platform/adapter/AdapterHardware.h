#pragma once
// What the device adapters share: one table of where each property lives and which may be written, the order in which a
// call is checked, and the listeners. An adapter says what objects it has, and supplies values. Player's thread.

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

  /// The run loop, which carries notifications, outlives the hardware.
  explicit AdapterHardware(RunLoop& runLoop) : listeners_(runLoop) {}

  // What an adapter supplies. Where a selector is asked about, the object is there, and its kind may have the property.

  /// Nothing: there is no such object (any more).
  [[nodiscard]] virtual std::optional<Kind> kindOf(AudioObjectID object) const = 0;
  /// Of the properties that its kind may have, which this object has not.
  [[nodiscard]] virtual bool lacks(AudioObjectID object, FourCharCode selector) const = 0;
  [[nodiscard]] virtual std::expected<AudioPropertyValue, OSStatus> value(Kind kind, AudioObjectID object,
                                                                          FourCharCode selector) const = 0;
  /// A device may refuse to be written what others can be.
  [[nodiscard]] virtual bool isFixed(AudioObjectID, FourCharCode) const { return false; }
  [[nodiscard]] virtual OSStatus setNominalRate(AudioObjectID device, double hertz) = 0;
  [[nodiscard]] virtual OSStatus toggleHog(AudioObjectID device) = 0;

  /// Whether the object is there and has the property.
  [[nodiscard]] OSStatus addressStatus(AudioObjectID object, const AudioObjectPropertyAddress& address) const;
  /// The same, and whether it can be written.
  [[nodiscard]] OSStatus writeStatus(AudioObjectID object, const AudioObjectPropertyAddress& address) const;

  /// A property that some objects of a kind cannot read now.
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
