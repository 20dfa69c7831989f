#pragma once
// A reading of a device's hog mode (called Exclusive Access in the window). A plain value.

#include <cstdint>

namespace tolvane {

struct HogModeReport {
  bool isSupported = false;              ///< the device has the property at all
  bool isOwnedByCurrentProcess = false;  ///< the owner that was read is this process
  std::int32_t ownerPID = -1;            ///< -1: no process owns it, or the owner could not be read
  double pauseSeconds = 0;               ///< how long the device refuses another attempt after a failed one
  bool isOwnerKnown = true;              ///< false: the owner could not be read

  /// No process owns the device, so it may be taken.
  [[nodiscard]] bool isFree() const { return isSupported && isOwnerKnown && ownerPID == -1; }
  /// This process owns it, as far as is known.
  [[nodiscard]] bool mayBeOwned() const { return isOwnedByCurrentProcess || !isOwnerKnown; }

  bool operator==(const HogModeReport&) const = default;
};

}  // namespace tolvane
