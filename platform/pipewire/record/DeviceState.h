#pragma once
// The condition of one device and its data: its sink, how long one is waited for, and the card's state before this
// process took it. Player's thread. An event that the table does not allow is logged and changes nothing.

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "platform/Log.h"
#include "platform/RunLoop.h"
#include "platform/pipewire/record/DeviceCondition.h"
#include "platform/pipewire/record/DevicePath.h"
#include "platform/pipewire/record/SinkExpectation.h"

namespace tolvane {

class DeviceState {
 public:
  /// `name`: of the device, for the log, which outlives the state.
  DeviceState(Log& log, std::string name) : log_(log), name_(std::move(name)) {}

  /// An expectation that has timed out counts as ended.
  [[nodiscard]] DeviceCondition at(RunLoop::TimePoint now) const;
  [[nodiscard]] bool isListed() const;
  /// The server's sink for the device, also one that was left behind while this process has the card.
  [[nodiscard]] std::optional<std::uint32_t> sink() const;
  [[nodiscard]] bool hasSink() const;
  [[nodiscard]] bool expectsSink(RunLoop::TimePoint now) const { return at(now) == DeviceCondition::expected; }
  /// How long the sink is still waited for; 0 where none is expected.
  [[nodiscard]] RunLoop::Duration timeToSink(RunLoop::TimePoint now) const;
  /// This process has the card, or could not return it yet.
  [[nodiscard]] bool hasCard() const;
  /// The card's state before this process took it; null if this process neither has it nor was the last to have it.
  [[nodiscard]] const CardBefore* before() const;

  /// The device is listed, with this sink. REQUIRES: it has no other sink; that must be reported as lost first.
  void listed(std::optional<std::uint32_t> sink, RunLoop::TimePoint now);
  /// REQUIRES: isListed().
  void unlisted(bool isUnitOnCard);
  /// The sink is temporarily away, or one is about to be made.
  void expectSink(RunLoop::TimePoint now);
  void sinkRemoved();
  /// `found` is used only if this process neither has the card nor was the last to have it.
  void cardTaken(const CardBefore& found);
  /// `isSinkDue`: the server is about to make one, if it has none.
  void cardReturned(bool isSinkDue, RunLoop::TimePoint now);
  void driverHangs();
  /// Another program has the card, unless the server has a sink for it.
  void takenByAnother();

 private:
  /// The only place where the condition changes. False: refused.
  bool apply(DeviceEvent event);

  Log& log_;
  const std::string name_;
  DeviceCondition condition_ = DeviceCondition::gone;
  std::optional<std::uint32_t> sink_;
  SinkExpectation expectation_;  ///< also of a device that is gone meanwhile: it may be back in time
  CardBefore before_;
};

}  // namespace tolvane
