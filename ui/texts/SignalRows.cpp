#include "ui/texts/SignalRows.h"

#include <fmt/format.h>

#include <ranges>

#include "ui/texts/Presentation.h"

namespace tolvane {
namespace {

SignalRow rowOf(const NamedText& text) {
  return {
      .title = text.name.shown(), .value = displayText(text.text), .tint = text.isWarning ? Theme::ember : Theme::ink};
}

std::vector<SignalRow> rowsOf(const std::vector<NamedText>& texts) {
  std::vector<SignalRow> rows;
  for (const NamedText& text : texts) rows.push_back(rowOf(text));
  return rows;
}

std::string sourceText(const PathStage& stage, const PathDiagnostics* diagnostics) {
  const std::string from = displayText(stage.source);
  if (diagnostics != nullptr)
    if (const auto& changed = diagnostics->changedAt.at(static_cast<std::size_t>(stage.kind)))
      return translate("Read from {}; last changed {}.", from, agoText(diagnostics->at - *changed));
  return translate("Read from {}.", from);
}

}  // namespace

ThemeColor stageColor(PathStage::Condition condition) {
  return condition == PathStage::Condition::unaltered ? Theme::gold : Theme::ember;
}

std::vector<SignalRow> stageRows(const SignalPath* path, const PathDiagnostics* diagnostics) {
  std::vector<SignalRow> rows;
  if (path == nullptr) {
    for (const auto kind : everyPathStage) rows.push_back({.title = inCatalogue(stageTitle(kind)).shown()});
    return rows;
  }
  for (const PathStage& stage : path->stages)
    rows.push_back({.title = inCatalogue(stageTitle(stage.kind)).shown(),
                    .value = displayText(stage.value),
                    .state = inCatalogue(conditionText(stage.condition)).shown(),
                    .detail = displayText(stage.meaning),
                    .source = sourceText(stage, diagnostics),
                    .tint = stageColor(stage.condition),
                    .isNamed = path->isNamed(stage.kind)});
  return rows;
}

std::vector<SignalRow> deliveryRows(const PathDiagnostics& diagnostics) { return rowsOf(deliveryTexts(diagnostics)); }

std::vector<SignalRow> counterRows(const PathDiagnostics& diagnostics) { return rowsOf(pathCounters(diagnostics)); }

std::vector<SignalRow> historyRows(const PathDiagnostics& diagnostics) {
  std::vector<SignalRow> rows;
  for (const PathEvent& event : std::views::reverse(diagnostics.history))
    rows.push_back({.title = agoText(diagnostics.at - event.at).shown(),
                    .value = displayText(event.text),
                    .state = inCatalogue(eventTitle(event.kind)).shown(),
                    .tint = Theme::ink});
  return rows;
}

std::string spokenChain(const SignalPath* path) {
  if (path == nullptr) return translate("No signal path");
  std::string text;
  for (const PathStage& stage : path->stages)
    text += fmt::format("{} {}: {}, {}", text.empty() ? translate("Signal path,") : ";",
                        inCatalogue(stageTitle(stage.kind)).shown(), displayText(stage.value),
                        inCatalogue(conditionText(stage.condition)).shown());
  return text;
}

}  // namespace tolvane
