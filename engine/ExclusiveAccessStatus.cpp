#include "engine/ExclusiveAccessStatus.h"

#include <array>
#include <cmath>

namespace tolvane {

using Kind = ExclusiveAccessStatus::Kind;

namespace {

/// In whole minutes, so that the message does not change with every reading.
BilingualText waitingMessage(double seconds) {
  const double minutes = std::ceil(seconds / 60);
  if (minutes > 1)
    return bilingual(
        "The output device released Exclusive Access. Tolvane Music Player will retry within {:.0f} minutes, or as "
        "soon "
        "as another program leaves the device.",
        minutes);
  return bilingual(
      "The output device released Exclusive Access. Tolvane Music Player will retry within a minute, or as soon as "
      "another program leaves the device.");
}

}  // namespace

ExclusiveAccessStatus ExclusiveAccessStatus::off() {
  return {
      Kind::off,
      bilingual(
          "Turn on Exclusive Access to prevent other apps from using the selected device. For unprocessed output, set "
          "Volume to 100% and Balance to Center.")};
}

ExclusiveAccessStatus ExclusiveAccessStatus::requested() {
  return {Kind::requested, bilingual("Exclusive Access will be verified when an output device starts playing.")};
}

ExclusiveAccessStatus ExclusiveAccessStatus::checking() {
  return {Kind::checking, bilingual("Requesting and verifying Exclusive Access with Core Audio.")};
}

ExclusiveAccessStatus ExclusiveAccessStatus::verified(const HogModeReport& report) {
  if (!report.isSupported)
    return {Kind::unavailable, bilingual("The selected output device does not provide verifiable Exclusive Access.")};
  if (report.isOwnedByCurrentProcess)
    return {Kind::active, bilingual("Verified: Tolvane Music Player exclusively owns the selected output device.")};
  if (report.isFree() && report.pauseSeconds > 0) return {Kind::lost, waitingMessage(report.pauseSeconds)};
  if (report.isFree())
    return {Kind::lost,
            bilingual("The output device released Exclusive Access. Tolvane Music Player is retrying automatically.")};
  if (!report.isOwnerKnown)
    return {Kind::lost,
            bilingual("The owner of the output device cannot be read. Tolvane Music Player will check again.")};
  return {
      Kind::lost,
      bilingual("Another process owns the output device. Tolvane Music Player will retry when it becomes available.")};
}

std::string_view kindName(ExclusiveAccessStatus::Kind kind) {
  constexpr std::array<std::string_view, 6> names{"off", "requested", "checking", "active", "lost", "unavailable"};
  return names.at(static_cast<std::size_t>(kind));
}

}  // namespace tolvane
