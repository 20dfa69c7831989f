#include "platform/pipewire/record/DeviceState.h"

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <vector>

#include "platform/simulated/MemoryLog.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""s;
using enum DeviceCondition;

constexpr RunLoop::TimePoint begin{std::chrono::hours(7)};
constexpr RunLoop::Duration limit = SinkExpectation::limit;
constexpr CardBefore wasShared{.hadSink = true, .hadManager = true};
constexpr CardBefore wasFree{.hadSink = false, .hadManager = false};

class DeviceStates : public testing::Test {
 protected:
  std::size_t refusals() const { return log.messages().size(); }

  MemoryLog log;
  DeviceState state{log, "DAC"};
};

TEST_F(DeviceStates, BeginGone) {
  EXPECT_EQ(state.at(begin), gone);
  EXPECT_FALSE(state.isListed());
  EXPECT_FALSE(state.hasSink());
  EXPECT_EQ(state.before(), nullptr);
}

TEST_F(DeviceStates, WaitForASinkForItsTimeAndNoLonger) {
  state.listed(30, begin);
  EXPECT_EQ(state.sink(), 30U);
  state.expectSink(begin);
  EXPECT_FALSE(state.hasSink());
  EXPECT_TRUE(state.expectsSink(begin + limit - 1ns));
  EXPECT_EQ(state.timeToSink(begin + 1s), limit - 1s);
  EXPECT_EQ(state.at(begin + limit), withoutSink);
  EXPECT_EQ(state.timeToSink(begin + limit), RunLoop::Duration::zero());
  state.listed(std::nullopt, begin + limit);
  EXPECT_EQ(state.at(begin + 1s), withoutSink) << "what has ended does not begin anew";
  state.listed(31, begin + limit);
  EXPECT_EQ(state.at(begin + limit), shared);
}

TEST_F(DeviceStates, StillWaitForTheSinkOfACableThatIsBackAtOnce) {
  state.listed(30, begin);
  state.expectSink(begin);
  state.unlisted(false);
  EXPECT_EQ(state.at(begin + 1s), gone);
  state.listed(std::nullopt, begin + 1s);
  EXPECT_EQ(state.timeToSink(begin + 1s), limit - 1s);
  state.unlisted(false);
  state.listed(std::nullopt, begin + limit);
  EXPECT_EQ(state.at(begin + limit), withoutSink) << "and not of one that is back later";
}

TEST_F(DeviceStates, RememberHowTheCardWasBeforeItWasTaken) {
  state.listed(30, begin);
  state.cardTaken(wasShared);
  ASSERT_NE(state.before(), nullptr);
  state.cardTaken(wasFree);  // by a unit, of the card that this process has
  EXPECT_TRUE(state.before()->hadSink);
  EXPECT_EQ(state.sink(), 30U) << "left behind";
  state.cardReturned(true, begin);
  EXPECT_EQ(state.at(begin), shared);
  EXPECT_EQ(state.before(), nullptr);
  state.cardTaken(wasFree);
  EXPECT_FALSE(state.before()->hadSink);
}

TEST_F(DeviceStates, RememberItAlsoWhileAnotherProgramHasTheCard) {
  state.listed(std::nullopt, begin);
  state.cardTaken(wasShared);
  state.takenByAnother();
  EXPECT_EQ(state.at(begin), yielded);
  state.cardTaken(wasFree);
  EXPECT_TRUE(state.before()->hadSink);
}

TEST_F(DeviceStates, ExpectASinkForAReturnedCardWhereOneIsDue) {
  state.listed(std::nullopt, begin);
  state.cardTaken(wasFree);
  state.cardReturned(false, begin);
  EXPECT_EQ(state.at(begin), withoutSink);
  state.cardTaken(wasFree);
  state.driverHangs();
  EXPECT_EQ(state.at(begin), returning);
  EXPECT_TRUE(state.hasCard());
  state.cardReturned(true, begin);
  EXPECT_EQ(state.timeToSink(begin), limit);
}

TEST_F(DeviceStates, AreGoneWhenThePulledCardIsLetGo) {
  state.listed(30, begin);
  state.cardTaken(wasShared);
  state.unlisted(true);
  EXPECT_EQ(state.at(begin), pulled);
  EXPECT_FALSE(state.hasSink());
  EXPECT_TRUE(state.hasCard());
  state.cardReturned(true, begin);
  EXPECT_EQ(state.at(begin), gone);
  state.listed(30, begin);
  state.cardTaken(wasShared);
  state.unlisted(false);
  EXPECT_EQ(state.at(begin), gone) << "no unit has it";
}

TEST_F(DeviceStates, RefuseAndLogWhatCannotHappen) {
  state.cardTaken(wasShared);
  EXPECT_EQ(state.at(begin), gone);
  EXPECT_EQ(state.before(), nullptr);
  ASSERT_EQ(refusals(), 1U);
  EXPECT_THAT(log.messages().front(), testing::HasSubstr("DAC is gone: cardTaken is refused"));
  state.listed(30, begin);
  state.listed(std::nullopt, begin);
  EXPECT_EQ(refusals(), 2U) << "its sink is lost first";
  EXPECT_EQ(state.sink(), 30U);
}

/// Every sequence of four events, possible or not.
TEST_F(DeviceStates, NeverContradictThemselves) {
  const std::vector<std::function<void(DeviceState&)>> events{
      [](auto& device) { device.listed(30, begin); },
      [](auto& device) { device.listed(std::nullopt, begin); },
      [](auto& device) { device.unlisted(true); },
      [](auto& device) { device.unlisted(false); },
      [](auto& device) { device.expectSink(begin); },
      [](auto& device) { device.sinkRemoved(); },
      [](auto& device) { device.cardTaken(wasShared); },
      [](auto& device) { device.cardReturned(true, begin); },
      [](auto& device) { device.cardReturned(false, begin); },
      [](auto& device) { device.driverHangs(); },
      [](auto& device) { device.takenByAnother(); },
  };
  constexpr std::size_t length = 4;
  std::map<DeviceCondition, int> seen;
  std::size_t number = 1;
  for (std::size_t place = 0; place < length; ++place) number *= events.size();
  for (std::size_t sequence = 0; sequence < number; ++sequence) {
    MemoryLog unread;
    DeviceState device(unread, "DAC");
    for (std::size_t place = 0, rest = sequence; place < length; ++place, rest /= events.size())
      events[rest % events.size()](device);
    const DeviceCondition condition = device.at(begin);
    ++seen[condition];
    const bool mayHaveSink = condition == shared || condition == taken || condition == returning;
    ASSERT_TRUE(device.hasSink() || condition != shared);
    ASSERT_FALSE(device.hasSink() && !mayHaveSink);
    ASSERT_EQ(device.before() != nullptr, device.hasCard() || condition == yielded);
    ASSERT_EQ(device.timeToSink(begin) > RunLoop::Duration::zero(), condition == expected);
  }
  EXPECT_EQ(seen.size(), deviceConditionCount);
}

}  // namespace
}  // namespace tolvane
