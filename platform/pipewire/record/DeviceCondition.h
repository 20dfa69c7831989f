#pragma once
// The condition of a device between the sound server and this process: one value, and one table of transitions. Pure.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tolvane {

enum class DeviceCondition : std::uint8_t {
  gone,         ///< not listed
  withoutSink,  ///< the server has no sink for it, and none is expected: it is reached over its card, if it has one
  expected,     ///< its sink is away, but likely to come in a moment
  shared,       ///< it has a sink
  taken,        ///< this process has its card: hog mode, or a unit over the card
  returning,    ///< this process has released its card, which an unanswered call into the driver may keep open
  yielded,      ///< another program has the card that this process had
  pulled        ///< no longer listed while a unit still has its card
};

enum class DeviceEvent : std::uint8_t {
  listedWithSink,
  listedExpectingSink,
  listedWithoutSink,
  unlisted,
  sinkExpected,  ///< the sink is temporarily away, or one is about to be made
  sinkRemoved,   ///< permanently
  expectationEnded,
  cardTaken,
  returnedToSink,         ///< the card, to a server that has a sink for it
  returnedExpectingSink,  ///< to a server that is about to make one
  returnedWithoutSink,
  driverHangs,    ///< the card cannot be returned yet
  takenByAnother  ///< another program has taken the card
};

inline constexpr std::size_t deviceConditionCount = 8;
inline constexpr std::size_t deviceEventCount = 13;

/// The condition after the event; nothing if the event cannot happen in this condition.
[[nodiscard]] std::optional<DeviceCondition> conditionAfter(DeviceCondition condition, DeviceEvent event);

/// "shared", "sinkExpected": for the log.
[[nodiscard]] std::string_view nameOf(DeviceCondition condition);
[[nodiscard]] std::string_view nameOf(DeviceEvent event);

}  // namespace tolvane
