#pragma once
// Gives each output unit the path to its device: the server's sink, or the card. One unit a device. Player's thread.

#include <expected>
#include <memory>
#include <optional>

#include "platform/adapter/PropertyListeners.h"
#include "platform/pipewire/devices/SharedProperties.h"
#include "platform/pipewire/paths/CardTaking.h"
#include "platform/pipewire/units/PipeWireOutputUnit.h"

namespace tolvane {

class UnitPaths final : public AudioOutputComponent, private PipeWireOutputUnit::Host {
 public:
  UnitPaths(const DeviceServices& services, const DeviceView& view, const SharedProperties& shared,
            DeviceCatalogue& catalogue, DeviceNotifications& notifications, CardTaking& taking,
            PropertyListeners& listeners);

  std::expected<std::unique_ptr<AudioOutputUnit>, OSStatus> newInstance() override;

 private:
  using Path = PipeWireOutputUnit::Path;

  // PipeWireOutputUnit::Host
  bool hasDevice(AudioObjectID id) const override;
  std::expected<Path, OSStatus> openPath(AudioObjectID id, PipeWireOutputUnit& unit) override;
  void closePath(AudioObjectID id, const PipeWireOutputUnit& unit) override;
  void movedToCard(AudioObjectID id, std::optional<double> rate) override;
  void unitChanged(AudioObjectID id) override;
  AudioOutputComponent* cardComponent() override { return services_.cardHardware.outputComponent(); }
  SoundServer& server() override { return services_.server; }
  RunLoop& runLoop() override { return services_.runLoop; }
  Log& log() override { return services_.log; }

  [[nodiscard]] std::expected<Path, OSStatus> pathOf(PipeWireDevice& device);
  [[nodiscard]] std::expected<Path, OSStatus> sharedPath(const PipeWireDevice& device);
  void chooseCardRate(const PipeWireDevice& device, double rate);

  const DeviceServices services_;
  const DeviceView& view_;
  const SharedProperties& shared_;
  DeviceCatalogue& catalogue_;
  DeviceNotifications& notifications_;
  CardTaking& taking_;
  PropertyListeners& listeners_;
};

}  // namespace tolvane
