#pragma once
// Which of the two ways to a device is the one, and whose the device is said to be. Pure: the same facts give the same
// answers.

#include <cstdint>

namespace tolvane {

/// What decides over the way.
struct DeviceWay {
  enum class Unit : std::uint8_t { none, onSink, onCard };

  bool hasCard = false;         ///< the direct side has it
  bool hasSink = false;         ///< now
  bool isSinkExpected = false;  ///< there is none, and one is likely to come in a moment
  Unit unit = Unit::none;       ///< that has the device
  bool isOurs = false;          ///< hog mode
};

/// Over the card itself. A unit's way stays as it is while the unit has it; hog mode, or the want of a sink, leads to
/// the card; and a sink that is expected is worth waiting for.
[[nodiscard]] constexpr bool leadsToCard(const DeviceWay& way) {
  if (!way.hasCard) return false;
  if (way.unit != DeviceWay::Unit::none) return way.unit == DeviceWay::Unit::onCard;
  return way.isOurs || (!way.hasSink && !way.isSinkExpected);
}

/// The owner that is told where the direct side tells of `owner`; -1: nobody. A server holds a card only until somebody
/// asks for it: it owns nothing, and nor does a session manager that is about to give it a sink.
[[nodiscard]] constexpr std::int32_t ownerTold(std::int32_t owner, std::int32_t ownProcess, bool isServer,
                                               bool isSinkExpected) {
  if (owner == -1 || owner == ownProcess) return owner;
  return isServer || isSinkExpected ? -1 : owner;
}

/// How a card was before this process took it.
struct CardBefore {
  bool hadSink = false;
  bool hadManager = false;  ///< there was a session manager, which makes the sinks
};

/// Whether a sink is to come when this process lets go of the card: one that was there before; or that of a session
/// manager that came meanwhile. One that made no sink while the card was free makes none afterwards.
[[nodiscard]] constexpr bool isSinkDue(const CardBefore& before, bool hasManager) {
  return before.hadSink || (hasManager && !before.hadManager);
}

}  // namespace tolvane
