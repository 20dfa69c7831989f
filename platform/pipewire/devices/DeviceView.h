#pragma once
// The state of a device at this moment, from its record, the server and the card behind it. Player's thread; changes
// nothing. Reading the owner of a card queries the kernel.

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
  [[nodiscard]] bool isOnCardPath(const PipeWireDevice& device) const;
  /// The process that has the card open, as the card path reports it; -1: none, or there is no card.
  [[nodiscard]] std::expected<std::int32_t, OSStatus> cardOwner(const PipeWireDevice& device) const;
  [[nodiscard]] bool isOurs(const PipeWireDevice& device) const;
  /// The process that owns the device exclusively; -1: none.
  [[nodiscard]] std::expected<std::int32_t, OSStatus> hogOwner(const PipeWireDevice& device) const;
  /// Time until the card may be taken from a playing unit; 0 if nothing would be interrupted.
  [[nodiscard]] double secondsUntilRetake(const PipeWireDevice& device) const;
  /// A session manager has come while a unit plays over the card, and makes the card's sink when the unit releases it.
  [[nodiscard]] bool isReopeningDue(const PipeWireDevice& device) const;
  /// Of the card; unknown where there is none.
  [[nodiscard]] AudioObjectID cardStream(const PipeWireDevice& device) const;

 private:
  const DeviceServices services_;
};

}  // namespace tolvane
