#pragma once
// Which of the two paths to a device applies, and which owner is reported. Pure: the same facts give the same answers.

#include <cstdint>

namespace tolvane {

/// What determines the path.
struct DevicePath {
  enum class Unit : std::uint8_t { none, onSink, onCard };

  bool hasCard = false;         ///< the card path has it
  bool hasSink = false;         ///< at the moment
  bool isSinkExpected = false;  ///< there is none, but one is likely to come in a moment
  Unit unit = Unit::none;       ///< that has the device
  bool isOurs = false;          ///< hog mode
};

/// Whether the path is the card. A unit's path does not change while the unit has it; hog mode, or the absence of a
/// sink, selects the card; an expected sink is waited for.
[[nodiscard]] constexpr bool isCardPath(const DevicePath& path) {
  if (!path.hasCard) return false;
  if (path.unit != DevicePath::Unit::none) return path.unit == DevicePath::Unit::onCard;
  return path.isOurs || (!path.hasSink && !path.isSinkExpected);
}

/// The owner to report if the card path reports `owner`; -1: none. A server releases a card on request, so it does not
/// count as an owner; nor does a session manager that is about to make the card's sink.
[[nodiscard]] constexpr std::int32_t reportedOwner(std::int32_t owner, std::int32_t ownProcess, bool isServer,
                                                   bool isSinkExpected) {
  if (owner == -1 || owner == ownProcess) return owner;
  return isServer || isSinkExpected ? -1 : owner;
}

/// A card's state before this process took it.
struct CardBefore {
  bool hadSink = false;
  bool hadManager = false;  ///< there was a session manager, which makes the sinks
};

/// Whether a sink will come when this process releases the card: one that existed before, or that of a session manager
/// that has come meanwhile. One that made no sink while the card was free makes none afterwards.
[[nodiscard]] constexpr bool isSinkDue(const CardBefore& before, bool hasManager) {
  return before.hadSink || (hasManager && !before.hadManager);
}

}  // namespace tolvane
