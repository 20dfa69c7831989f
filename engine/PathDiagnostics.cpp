#include "engine/PathDiagnostics.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace tolvane {
namespace {

std::string framesText(std::int64_t frames, double rate) {
  constexpr double milliseconds = 1000;
  const std::string count = fmt::format("{} frames", groupedDigits(frames));
  return rate > 0 ? fmt::format("{}, {:.1f} ms", count, static_cast<double>(frames) / rate * milliseconds) : count;
}

/// What happens to the samples after they leave the player, if they may change there; else empty.
std::string_view textBehindPlayer(const SignalPath& path) {
  using Condition = PathStage::Condition;
  const auto isBehind = [](const PathStage& stage) {
    return stage.kind == PathStage::Kind::route || stage.kind == PathStage::Kind::device;
  };
  const auto has = [&](Condition condition) {
    return std::ranges::any_of(path.stages,
                               [&](const PathStage& stage) { return isBehind(stage) && stage.condition == condition; });
  };
  if (has(Condition::altered)) return "They are altered afterwards, as the stages above say.";
  if (has(Condition::unknown)) return "Whether they are altered afterwards is not known, as the stages above say.";
  return {};
}

NamedText deliveryText(std::string name, const DeliveryReport& report) {
  using enum DeliveryReport::Result;
  return {.name = std::move(name),
          .text = deliverySentence(report),
          .isWarning = report.result == damaged || report.result == differs};
}

}  // namespace

std::vector<NamedText> pathCounters(const PathDiagnostics& diagnostics) {
  const auto count = [](std::uint64_t number) { return groupedDigits(static_cast<std::int64_t>(number)); };
  std::vector<NamedText> all{{"Underruns", count(diagnostics.statistics.underruns)},
                             {"Recoveries", count(diagnostics.statistics.recoveries)}};
  if (diagnostics.bufferFrames != 0) all.push_back({"Buffer", framesText(diagnostics.bufferFrames, diagnostics.rate)});
  if (diagnostics.framesAhead) all.push_back({"Latency", framesText(*diagnostics.framesAhead, diagnostics.rate)});
  all.push_back({"Frames handed over", count(diagnostics.framesHandedOver)});
  return all;
}

std::vector<NamedText> deliveryTexts(const PathDiagnostics& diagnostics) {
  std::vector<NamedText> all;
  if (diagnostics.delivery) all.push_back(deliveryText("This track", *diagnostics.delivery));
  if (diagnostics.lastDelivery) all.push_back(deliveryText("Track before", *diagnostics.lastDelivery));
  if (all.empty()) return {{"This track", "Nothing has been handed to a device yet."}};
  const std::string_view behind = diagnostics.path ? textBehindPlayer(*diagnostics.path) : std::string_view();
  if (diagnostics.delivery && !behind.empty()) all.push_back({"Behind that", std::string(behind)});
  return all;
}

std::string agoText(RunLoop::Duration age) {
  using std::chrono::duration_cast;
  const auto seconds = duration_cast<std::chrono::seconds>(age).count();
  constexpr std::int64_t minute = 60;
  constexpr std::int64_t hour = 60 * minute;
  if (seconds < 1) return "just now";
  if (seconds < minute) return fmt::format("{} s ago", seconds);
  if (seconds < hour) return fmt::format("{} min ago", seconds / minute);
  return fmt::format("{} h ago", seconds / hour);
}

}  // namespace tolvane
