#pragma once
// What a device is at this moment, as its record, the server and the card behind it say. Player's thread; changes
// nothing. A question about the owner of a card is one to the kernel.

#include <cstdint>
#include <expected>

#include "platform/pipewire/devices/DeviceServices.h"
#include "platform/pipewire/record/PipeWireDevice.h"

namespace tolvane {

class DeviceView {
 public:
  explicit DeviceView(const DeviceServices& services) : services_(services) {}

  [[nodiscard]] static std::int32_t ownProcess();
  /// The stream that plays to the device's sink; null where none does.
  [[nodiscard]] static const SoundServerStream* playingStream(const PipeWireDevice& device);

  /// Null where there is none.
  [[nodiscard]] const PipeWireSink* sinkOf(const PipeWireDevice& device) const;
  [[nodiscard]] bool expectsSink(const PipeWireDevice& device) const;
  [[nodiscard]] bool isReachedDirectly(const PipeWireDevice& device) const;
  /// The process that has the card open, as the direct side reports it; -1: none, or there is no card.
  [[nodiscard]] std::expected<std::int32_t, OSStatus> directOwner(const PipeWireDevice& device) const;
  [[nodiscard]] bool isOurs(const PipeWireDevice& device) const;
  /// The process that has the device for itself; -1: none.
  [[nodiscard]] std::expected<std::int32_t, OSStatus> hogOwner(const PipeWireDevice& device) const;
  /// Until the card may be taken from under the unit that plays; 0 where nothing would be interrupted.
  [[nodiscard]] double secondsUntilRetake(const PipeWireDevice& device) const;
  /// A session manager has come while a unit plays over the card, and makes its sink when the unit lets go of it.
  [[nodiscard]] bool isReopeningDue(const PipeWireDevice& device) const;
  /// Of the card; unknown where there is none.
  [[nodiscard]] AudioObjectID directStream(const PipeWireDevice& device) const;

 private:
  const DeviceServices services_;
};

}  // namespace tolvane
