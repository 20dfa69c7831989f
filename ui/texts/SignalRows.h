#pragma once
// The signal path as the window shows it: rows of text and colour. Pure functions; no state.

#include <string>
#include <vector>

#include "engine/PathDiagnostics.h"
#include "ui/Theme.h"

namespace tolvane {

/// One stage, counter or event.
struct SignalRow {
  std::string title{};   ///< "Route"; of an event when it was: "12 s ago"
  std::string value{};   ///< "shared, 96 kHz"
  std::string state{};   ///< "unaltered"; empty where there is none
  std::string detail{};  ///< what it means
  std::string source{};  ///< where it was read, and when it changed
  ThemeColor tint = Theme::muted;  ///< of a stage's mark and state, or of the value
  bool isNamed = false;  ///< the verdict is about it

  bool operator==(const SignalRow&) const = default;
};

/// One a stage, also where there is no path: then without a value. `diagnostics` may be null: without times.
[[nodiscard]] std::vector<SignalRow> stageRows(const SignalPath* path, const PathDiagnostics* diagnostics);
/// What was found about the samples that were handed to the device.
[[nodiscard]] std::vector<SignalRow> deliveryRows(const PathDiagnostics& diagnostics);
[[nodiscard]] std::vector<SignalRow> counterRows(const PathDiagnostics& diagnostics);
/// Newest first.
[[nodiscard]] std::vector<SignalRow> historyRows(const PathDiagnostics& diagnostics);

/// Gold where the samples pass unaltered, ember where they do not or that is not known.
[[nodiscard]] ThemeColor stageColor(PathStage::Condition condition);

/// The chain in words, for assistive technology.
[[nodiscard]] std::string spokenChain(const SignalPath* path);

}  // namespace tolvane
