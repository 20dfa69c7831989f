#pragma once
// The machine's output devices, kept current, and the one that is selected. Player's thread.
// Tells of a selection only when it is another device, so that a device that comes or goes does not disturb the music.

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "engine/Published.h"
#include "platform/AudioHardware.h"
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

  /// Reads the devices and chooses: the selected one while it is there, else the system's default, else the first.
  /// Unreadable hardware leaves everything as it is.
  void loadAudioDevices();

  /// The listener's own choice. Ignored for a device that is not in the list or is selected already.
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
  std::shared_ptr<OutputDeviceList*> self_;  // a notification may arrive after its listener was removed
};

}  // namespace tolvane
