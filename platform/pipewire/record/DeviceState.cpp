#include "platform/pipewire/record/DeviceState.h"

#include <fmt/format.h>

namespace tolvane {
namespace {

using Condition = DeviceCondition;
using Event = DeviceEvent;

}  // namespace

bool DeviceState::apply(DeviceEvent event) {
  const auto after = conditionAfter(condition_, event);
  if (!after) {
    log_.write(LogLevel::error, audioHardwareCategory,
               fmt::format("{} is {}: {} is refused", name_, nameOf(condition_), nameOf(event)));
    return false;
  }
  condition_ = *after;
  if (condition_ == Condition::gone || condition_ == Condition::pulled) sink_.reset();
  return true;
}

DeviceCondition DeviceState::at(RunLoop::TimePoint now) const {
  const bool isOver = condition_ == Condition::expected && !expectation_.isPending(now);
  return isOver ? Condition::withoutSink : condition_;
}

bool DeviceState::isListed() const { return condition_ != Condition::gone && condition_ != Condition::pulled; }

std::optional<std::uint32_t> DeviceState::sink() const { return sink_; }

bool DeviceState::hasSink() const { return sink_.has_value(); }

RunLoop::Duration DeviceState::timeToSink(RunLoop::TimePoint now) const {
  return expectsSink(now) ? expectation_.left(now) : RunLoop::Duration::zero();
}

bool DeviceState::hasCard() const {
  return condition_ == Condition::taken || condition_ == Condition::returning || condition_ == Condition::pulled;
}

const CardBefore* DeviceState::before() const {
  return hasCard() || condition_ == Condition::yielded ? &before_ : nullptr;
}

void DeviceState::listed(std::optional<std::uint32_t> sink, RunLoop::TimePoint now) {
  if (condition_ != at(now)) apply(Event::expectationEnded);
  auto event = sink ? Event::listedWithSink : Event::listedWithoutSink;
  if (!sink && condition_ == Condition::gone && expectation_.isPending(now)) event = Event::listedExpectingSink;
  if (!apply(event)) return;
  sink_ = sink;
  if (sink) expectation_.end();
}

void DeviceState::unlisted(bool isUnitOnCard) {
  if (apply(Event::unlisted) && condition_ == Condition::pulled && !isUnitOnCard) apply(Event::returnedWithoutSink);
}

void DeviceState::expectSink(RunLoop::TimePoint now) {
  if (!apply(Event::sinkExpected)) return;
  sink_.reset();
  if (condition_ == Condition::expected) expectation_.begin(now);
}

void DeviceState::sinkRemoved() {
  if (apply(Event::sinkRemoved)) sink_.reset();
}

void DeviceState::cardTaken(const CardBefore& found) {
  const bool isKnown = before() != nullptr;
  if (!apply(Event::cardTaken)) return;
  if (!isKnown) before_ = found;
  expectation_.end();  // the sink comes only when the card is returned
}

void DeviceState::cardReturned(bool isSinkDue, RunLoop::TimePoint now) {
  auto event = isSinkDue ? Event::returnedExpectingSink : Event::returnedWithoutSink;
  if (sink_) event = Event::returnedToSink;
  if (condition_ == Condition::pulled) event = Event::returnedWithoutSink;
  if (apply(event) && condition_ == Condition::expected) expectation_.begin(now);
}

void DeviceState::driverHangs() { apply(Event::driverHangs); }

void DeviceState::takenByAnother() { apply(sink_ ? Event::returnedToSink : Event::takenByAnother); }

}  // namespace tolvane
