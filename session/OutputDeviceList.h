#pragma once
// The machine's output devices, kept current, and the selected one. Player's thread. Notifies of a selection only if
// the device differs, so that devices that come or go do not interrupt the music.

#include <functional>
#include <optional>
#include <vector>

#include "engine/Published.h"
#include "platform/AudioHardware.h"
#include "platform/WeakSelf.h"
#include "session/AudioDevice.h"

namespace tolvane {

class OutputDeviceList {
 public:
  /// `setOutputDevice` is called with each newly selected device. The hardware outlives the list.
  OutputDeviceList(AudioHardware& hardware, std::function<void(AudioObjectID)> setOutputDevice);
  ~OutputDeviceList();
  OutputDeviceList(const OutputDeviceList&) = delete;
  OutputDeviceList& operator=(const OutputDeviceList&) = delete;

  /// Loads the list once and again whenever the devices change.
  void start();

  /// Reads the devices and selects one: the selected one if it is still there, else the system's default, else the
  /// first. If the hardware cannot be read, nothing changes.
  void loadAudioDevices();

  /// The user's choice. Ignored for a device that is not in the list or is already selected.
  void select(AudioObjectID deviceID);

  /// Sorted by name, in plain string order.
  [[nodiscard]] const Published<std::vector<AudioDevice>>& devices() const { return devices_; }
  [[nodiscard]] const Published<std::optional<AudioDevice>>& selectedDevice() const { return selectedDevice_; }

 private:
  [[nodiscard]] std::optional<std::vector<AudioDevice>> readDevices() const;
  [[nodiscard]] std::optional<AudioDevice> chooseDevice() const;
  void adopt(std::optional<AudioDevice> device);

  AudioHardware& hardware_;
  const std::function<void(AudioObjectID)> setOutputDevice_;
  Published<std::vector<AudioDevice>> devices_;
  Published<std::optional<AudioDevice>> selectedDevice_;
  std::optional<AudioHardware::ListenerID> listener_;
  WeakSelf<OutputDeviceList> self_;  // a notification may arrive after its property listener was removed
};

}  // namespace tolvane
