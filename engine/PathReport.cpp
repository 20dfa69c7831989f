#include "engine/PathReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <ranges>
#include <string_view>

#include "engine/PlainWords.h"
#include "platform/PrintableText.h"

namespace tolvane {
namespace {

constexpr std::size_t lineLength = 78;
constexpr std::size_t nameColumn = 19;

/// The number of characters: continuation bytes of UTF-8 do not count.
std::size_t shownLength(std::string_view text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

/// Wraps words into lines with `indent` spaces; the first line continues the text that is already there. A line break
/// in a name from outside does not break a line of the report.
std::string wrapped(std::string_view from, std::size_t indent, std::size_t column) {
  const std::string text = printableText(from);
  std::string lines;
  bool isLineEmpty = true;
  for (const auto part : std::views::split(std::string_view(text), ' ')) {
    const std::string_view word(part.begin(), part.end());
    const std::size_t length = shownLength(word);
    if (!isLineEmpty && column + 1 + length > lineLength) {
      lines += '\n' + std::string(indent, ' ');
      column = indent;
      isLineEmpty = true;
    }
    if (!isLineEmpty) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += length;
    isLineEmpty = false;
  }
  return lines + '\n';
}

std::string paragraph(std::string_view text, std::size_t indent) {
  return std::string(indent, ' ') + wrapped(text, indent, indent);
}

/// "  Underruns           0"
std::string row(std::string_view name, std::string_view text, std::size_t column = nameColumn) {
  const std::string head = fmt::format("  {:<{}}", name, column);
  return head + wrapped(text, head.size(), head.size());
}

std::string stageText(const PathStage& stage, const SignalPath& path, const PathDiagnostics& diagnostics) {
  constexpr std::size_t titleColumn = 8;
  constexpr std::size_t indent = 2 + titleColumn;
  const auto& changed = diagnostics.changedAt.at(static_cast<std::size_t>(stage.kind));
  const std::string age =
      changed ? fmt::format("; last changed {}", agoText(diagnostics.at - *changed).english()) : std::string();
  const std::string mark = path.isNamed(stage.kind) ? " <- the verdict is about this" : "";
  std::string text = row(stageTitle(stage.kind),
                         fmt::format("{} [{}]{}", stage.value, conditionText(stage.condition), mark), titleColumn);
  text += paragraph(stage.meaning, indent);
  return text + paragraph(fmt::format("Read from {}{}.", stage.source.english(), age), indent);
}

/// Minutes and seconds, or hours, minutes and seconds.
std::string ageText(RunLoop::Duration age) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(age).count();
  constexpr std::int64_t minute = 60;
  constexpr std::int64_t hour = 60 * minute;
  if (seconds >= hour) return fmt::format("{}:{:02}:{:02}", seconds / hour, seconds % hour / minute, seconds % minute);
  return fmt::format("{:02}:{:02}", seconds / minute, seconds % minute);
}

std::string historyText(const PathDiagnostics& diagnostics, std::size_t limit) {
  std::string text = "History (newest first, by the time before this report)\n";
  constexpr std::size_t ageColumn = 9;
  std::size_t left = limit;
  for (const PathEvent& event : std::views::reverse(diagnostics.history)) {
    if (left-- == 0) break;
    text +=
        row(ageText(diagnostics.at - event.at), fmt::format("{}: {}", eventTitle(event.kind), event.text), ageColumn);
  }
  return diagnostics.history.empty() ? text + "  Nothing yet.\n" : text;
}

std::string versionsText(const PathDiagnostics& diagnostics, const ReportOptions& options) {
  std::string text = row("Player", options.playerVersion) + row("Kernel", options.kernel);
  if (!diagnostics.path) return text;
  const SignalPath& path = *diagnostics.path;
  text += row("Driver", path.driver.empty() ? "not known" : path.driver);
  return text + row("Sound server", path.soundServer.empty() ? "none in between" : path.soundServer);
}

std::string deliveryText(const PathDiagnostics& diagnostics) {
  std::string text;
  if (diagnostics.path)
    text += row("Handed to", diagnostics.path->soundServer.empty()
                                 ? "the card"
                                 : diagnostics.path->soundServer + ", whose part is the route above");
  for (const NamedText& each : deliveryTexts(diagnostics)) text += row(each.name, each.text);
  return text;
}

std::string outputText(const PathDiagnostics& diagnostics) {
  std::string text;
  for (const NamedText& counter : pathCounters(diagnostics)) text += row(counter.name, counter.text);
  const ExclusiveAccessStatus& exclusive = diagnostics.exclusiveAccess;
  return text +
         row("Exclusive Access", exclusive.kind == ExclusiveAccessStatus::Kind::off ? "Off." : exclusive.message);
}

}  // namespace

std::string pathReport(const PathDiagnostics& diagnostics, const ReportOptions& options) {
  std::string report = "Tolvane Music Player: report on the signal path\n" + versionsText(diagnostics, options);
  if (options.namesFile && diagnostics.url) report += row("File", diagnostics.url->lastPathComponent());
  report += '\n' + diagnostics.status.label + '\n' + paragraph(diagnostics.status.detail, 2);
  const auto cut = diagnostics.path ? diagnostics.path->cut : std::nullopt;
  if (const std::string words = plainWords(diagnostics.status, cut); !words.empty())
    report += paragraph("In plain words: " + words, 2);

  report += "\nSignal path\n";
  if (diagnostics.path)
    for (const PathStage& stage : diagnostics.path->stages) report += stageText(stage, *diagnostics.path, diagnostics);
  else
    report += "  None: nothing is played to a device.\n";

  report += "\nSamples handed over, compared with the file\n" + deliveryText(diagnostics);
  report += "\nOutput\n" + outputText(diagnostics);
  return report + '\n' + historyText(diagnostics, options.historyLines);
}

}  // namespace tolvane
