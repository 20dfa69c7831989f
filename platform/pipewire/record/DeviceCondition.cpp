#include "platform/pipewire/record/DeviceCondition.h"

#include <array>

namespace tolvane {
namespace {

using enum DeviceCondition;

constexpr std::array<std::string_view, deviceConditionCount> conditionNames{
    "gone", "withoutSink", "expected", "shared", "taken", "returning", "yielded", "pulled"};

struct Row {
  std::string_view event;
  std::array<std::optional<DeviceCondition>, deviceConditionCount> after;  ///< in the order of DeviceCondition
};

constexpr auto none = std::nullopt;

// clang-format off
/// In the order of DeviceEvent.
constexpr std::array<Row, deviceEventCount> transitions{{
    //                         gone         withoutSink  expected     shared       taken        returning    yielded      pulled
    {"listedWithSink",        {shared,      shared,      shared,      shared,      taken,       returning,   shared,      taken}},
    {"listedExpectingSink",   {expected,    none,        none,        none,        none,        none,        none,        none}},
    {"listedWithoutSink",     {withoutSink, withoutSink, expected,    none,        taken,       returning,   yielded,     taken}},
    {"unlisted",              {none,        gone,        gone,        gone,        pulled,      gone,        gone,        none}},
    {"sinkExpected",          {none,        expected,    expected,    expected,    taken,       returning,   none,        none}},
    {"sinkRemoved",           {none,        none,        none,        withoutSink, taken,       returning,   none,        none}},
    {"expectationEnded",      {none,        none,        withoutSink, none,        none,        none,        none,        none}},
    {"cardTaken",             {none,        taken,       taken,       taken,       taken,       taken,       taken,       none}},
    {"returnedToSink",        {none,        none,        none,        none,        shared,      shared,      none,        none}},
    {"returnedExpectingSink", {none,        none,        none,        none,        expected,    expected,    none,        none}},
    {"returnedWithoutSink",   {none,        none,        none,        none,        withoutSink, withoutSink, none,        gone}},
    {"driverHangs",           {none,        none,        none,        none,        returning,   returning,   none,        gone}},
    {"takenByAnother",        {none,        none,        none,        none,        yielded,     yielded,     none,        gone}},
}};
// clang-format on

}  // namespace

std::optional<DeviceCondition> conditionAfter(DeviceCondition condition, DeviceEvent event) {
  return transitions.at(static_cast<std::size_t>(event)).after.at(static_cast<std::size_t>(condition));
}

std::string_view nameOf(DeviceCondition condition) { return conditionNames.at(static_cast<std::size_t>(condition)); }

std::string_view nameOf(DeviceEvent event) { return transitions.at(static_cast<std::size_t>(event)).event; }

}  // namespace tolvane
