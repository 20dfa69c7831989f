#include "engine/ExclusiveAccessStatus.h"

#include <array>

namespace tolvane {

using Kind = ExclusiveAccessStatus::Kind;

ExclusiveAccessStatus ExclusiveAccessStatus::off() {
  return {Kind::off,
          "Turn on Exclusive Access to prevent other apps from using the selected device. For unprocessed output, set "
          "Volume to 100% and Balance to Center."};
}

ExclusiveAccessStatus ExclusiveAccessStatus::requested() {
  return {Kind::requested, "Exclusive Access will be verified when an output device starts playing."};
}

ExclusiveAccessStatus ExclusiveAccessStatus::checking() {
  return {Kind::checking, "Requesting and verifying Exclusive Access with Core Audio."};
}

ExclusiveAccessStatus ExclusiveAccessStatus::verified(const HogModeReport& report) {
  if (!report.isSupported)
    return {Kind::unavailable, "The selected output device does not provide verifiable Exclusive Access."};
  if (report.isOwnedByCurrentProcess)
    return {Kind::active, "Verified: Tolvane Music Player exclusively owns the selected output device."};
  if (report.isFree())
    return {Kind::lost, "The output device released Exclusive Access. Tolvane Music Player is retrying automatically."};
  return {Kind::lost,
          "Another process owns the output device. Tolvane Music Player will retry when it becomes available."};
}

std::string_view kindName(ExclusiveAccessStatus::Kind kind) {
  constexpr std::array<std::string_view, 6> names{"off", "requested", "checking", "active", "lost", "unavailable"};
  return names.at(static_cast<std::size_t>(kind));
}

}  // namespace tolvane
