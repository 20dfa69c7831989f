#pragma once
// The device layer on a desktop with PipeWire: the server's sinks, and the cards behind them on the card path
// (`cardHardware`), each device once. Player's thread. Without a server it is the card path alone; waits are bounded.

#include <functional>
#include <memory>
#include <vector>

#include "platform/DeviceCalls.h"
#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/adapter/AdapterHardware.h"
#include "platform/pipewire/devices/DeviceCatalogue.h"
#include "platform/pipewire/devices/DeviceNotifications.h"
#include "platform/pipewire/devices/DeviceView.h"
#include "platform/pipewire/devices/SharedProperties.h"
#include "platform/pipewire/paths/CardTaking.h"
#include "platform/pipewire/paths/UnitPaths.h"
#include "platform/pipewire/server/SoundServer.h"

namespace tolvane {

class PipeWireAudioHardware : public AdapterHardware {
 public:
  /// `cardHardware` has the machine's own devices, and takes hog mode of them. `calls` names and interrupts the waits
  /// for the server; null: they are not interrupted. All outlive the hardware.
  PipeWireAudioHardware(RunLoop& runLoop, Log& log, AudioHardware& cardHardware, DeviceCalls* calls = nullptr);
  /// With the server that `makeServer` makes, which calls the given events.
  using MakeServer = std::function<std::unique_ptr<SoundServer>(SoundServer::Events)>;
  PipeWireAudioHardware(RunLoop& runLoop, Log& log, AudioHardware& cardHardware, const MakeServer& makeServer);
  ~PipeWireAudioHardware() override;

  std::expected<ListenerID, OSStatus> addPropertyListener(AudioObjectID object,
                                                          const AudioObjectPropertyAddress& address,
                                                          Listener listener) override;
  OSStatus removePropertyListener(ListenerID listener) override;
  AudioOutputComponent* outputComponent() override { return &units_; }

 private:
  using Device = PipeWireDevice;
  using Value = std::expected<AudioPropertyValue, OSStatus>;

  // AdapterHardware
  std::optional<Kind> kindOf(AudioObjectID object) const override;
  bool lacks(AudioObjectID object, FourCharCode selector) const override;
  Value value(Kind kind, AudioObjectID object, FourCharCode selector) const override;
  OSStatus setNominalRate(AudioObjectID device, double hertz) override;
  OSStatus toggleHog(AudioObjectID device) override { return taking_.toggleHog(*catalogue_.deviceOf(device)); }

  [[nodiscard]] Value systemProperty(FourCharCode selector) const;
  [[nodiscard]] Value deviceProperty(const Device& device, FourCharCode selector) const;
  [[nodiscard]] Value pathProperty(const Device& device, FourCharCode selector) const;
  [[nodiscard]] Value streamProperty(const Device& device, FourCharCode selector) const;
  [[nodiscard]] Value owner(const Device& device) const;
  [[nodiscard]] Value ownerName(const Device& device) const;
  [[nodiscard]] std::vector<SampleAlteration> alterations(const Device& device) const;

  const std::unique_ptr<SoundServer> server_;
  const DeviceServices services_;
  const DeviceView view_;
  const SharedProperties shared_;
  DeviceCatalogue catalogue_;
  DeviceNotifications notifications_;
  CardTaking taking_;
  UnitPaths units_;
  std::vector<ListenerID> systemListeners_;
};

}  // namespace tolvane
