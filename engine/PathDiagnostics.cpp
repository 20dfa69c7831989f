#include "engine/PathDiagnostics.h"

#include <algorithm>
#include <utility>

namespace tolvane {
namespace {

BilingualText framesText(std::int64_t frames, double rate) {
  constexpr double milliseconds = 1000;
  const std::string count = groupedDigits(frames);
  return rate > 0 ? bilingual("{} frames, {:.1f} ms", count, static_cast<double>(frames) / rate * milliseconds)
                  : bilingual("{} frames", count);
}

/// What happens to the samples after they leave the player, if they may change there; else empty.
BilingualText textBehindPlayer(const SignalPath& path) {
  using Condition = PathStage::Condition;
  const auto isBehind = [](const PathStage& stage) {
    return stage.kind == PathStage::Kind::route || stage.kind == PathStage::Kind::device;
  };
  const auto has = [&](Condition condition) {
    return std::ranges::any_of(path.stages,
                               [&](const PathStage& stage) { return isBehind(stage) && stage.condition == condition; });
  };
  if (has(Condition::altered)) return bilingual("They are altered afterwards, as the stages above say.");
  if (has(Condition::unknown))
    return bilingual("Whether they are altered afterwards is not known, as the stages above say.");
  return {};
}

NamedText deliveryText(BilingualText name, const DeliveryReport& report) {
  using enum DeliveryReport::Result;
  return {.name = std::move(name),
          .text = deliverySentence(report),
          .isWarning = report.result == damaged || report.result == differs};
}

}  // namespace

std::vector<NamedText> pathCounters(const PathDiagnostics& diagnostics) {
  const auto count = [](std::uint64_t number) { return groupedDigits(static_cast<std::int64_t>(number)); };
  std::vector<NamedText> all{{bilingual("Underruns"), count(diagnostics.statistics.underruns)},
                             {bilingual("Recoveries"), count(diagnostics.statistics.recoveries)}};
  if (diagnostics.bufferFrames != 0)
    all.push_back({bilingual("Buffer"), framesText(diagnostics.bufferFrames, diagnostics.rate)});
  if (diagnostics.framesAhead)
    all.push_back({bilingual("Latency"), framesText(*diagnostics.framesAhead, diagnostics.rate)});
  all.push_back({bilingual("Frames handed over"), count(diagnostics.framesHandedOver)});
  return all;
}

std::vector<NamedText> deliveryTexts(const PathDiagnostics& diagnostics) {
  std::vector<NamedText> all;
  if (diagnostics.delivery) all.push_back(deliveryText(bilingual("This track"), *diagnostics.delivery));
  if (diagnostics.lastDelivery) all.push_back(deliveryText(bilingual("Track before"), *diagnostics.lastDelivery));
  if (all.empty()) return {{bilingual("This track"), bilingual("Nothing has been handed to a device yet.")}};
  const BilingualText behind = diagnostics.path ? textBehindPlayer(*diagnostics.path) : BilingualText();
  if (diagnostics.delivery && !behind.empty()) all.push_back({bilingual("Behind that"), behind});
  return all;
}

BilingualText agoText(RunLoop::Duration age) {
  using std::chrono::duration_cast;
  const auto seconds = duration_cast<std::chrono::seconds>(age).count();
  constexpr std::int64_t minute = 60;
  constexpr std::int64_t hour = 60 * minute;
  if (seconds < 1) return bilingual("just now");
  if (seconds < minute) return bilingual("{} s ago", seconds);
  if (seconds < hour) return bilingual("{} min ago", seconds / minute);
  return bilingual("{} h ago", seconds / hour);
}

}  // namespace tolvane
