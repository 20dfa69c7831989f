#pragma once
// Notifies property listeners of changes of a device since the last report, and passes on the reports of the card path
// while a device is reached over its card. Player's thread.

#include <functional>
#include <map>

#include "platform/adapter/PropertyListeners.h"
#include "platform/pipewire/devices/DeviceCatalogue.h"
#include "platform/pipewire/devices/SharedProperties.h"

namespace tolvane {

class DeviceNotifications {
 public:
  /// `ownerChanged` runs before the change is reported, when another owner of a device's card is reported.
  DeviceNotifications(const DeviceServices& services, const DeviceView& view, const SharedProperties& shared,
                      const DeviceCatalogue& catalogue, PropertyListeners& listeners,
                      std::function<void(PipeWireDevice&)> ownerChanged);
  ~DeviceNotifications();
  DeviceNotifications(const DeviceNotifications&) = delete;
  DeviceNotifications& operator=(const DeviceNotifications&) = delete;

  /// Reports what has changed of a listed device.
  void publish(PipeWireDevice& device);
  /// From now on also observes the owners of the listed devices' cards.
  void observeOwners();
  /// Passes reports of this property to the listener while the device is reached over its card.
  void passOn(AudioHardware::ListenerID listener, const PipeWireDevice& device, bool ofStream,
              const AudioObjectPropertyAddress& address);
  void endPassingOn(AudioHardware::ListenerID listener);

 private:
  using ListenerID = AudioHardware::ListenerID;

  void publishAlteration(PipeWireDevice& device);
  void publishOwner(PipeWireDevice& device);
  void lookForOthers(PipeWireDevice& device);

  const DeviceServices services_;
  const DeviceView& view_;
  const SharedProperties& shared_;
  const DeviceCatalogue& catalogue_;
  PropertyListeners& listeners_;
  const std::function<void(PipeWireDevice&)> ownerChanged_;
  std::map<AudioObjectID, ListenerID> ownerListeners_;  ///< of hog mode, by the device on the card path
  std::map<ListenerID, ListenerID> cardListeners_;      ///< from the listener's id here to its id on the card path
};

}  // namespace tolvane
