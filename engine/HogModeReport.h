#pragma once
// What a device says about hog mode (to people: Exclusive Access). A plain value.

#include <cstdint>

namespace tolvane {

struct HogModeReport {
  bool isSupported = false;              ///< the device has the property at all
  bool isOwnedByCurrentProcess = false;  ///< the owner that was read is this process
  std::int32_t ownerPID = -1;            ///< -1: no process, or the owner could not be read
  double pauseSeconds = 0;               ///< for which the device refuses the next attempt after a failed one
  bool isOwnerKnown = true;              ///< false: it could not be read

  /// No process owns it, so it may be taken.
  [[nodiscard]] bool isFree() const { return isSupported && isOwnerKnown && ownerPID == -1; }
  /// This process owns it, as far as is known.
  [[nodiscard]] bool mayBeOwned() const { return isOwnedByCurrentProcess || !isOwnerKnown; }

  bool operator==(const HogModeReport&) const = default;
};

}  // namespace tolvane
