#pragma once
// What is known of the signal path, its past, and what went over it: for the window's sheet and the report. A value,
// and the texts that both have of it.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/ExclusiveAccessStatus.h"
#include "engine/OutputStatistics.h"
#include "engine/PathHistory.h"
#include "engine/SignalPath.h"
#include "engine/delivery/DeliveryReport.h"
#include "platform/FileURL.h"

namespace tolvane {

struct PathDiagnostics {
  RunLoop::TimePoint at{};  ///< of the reading
  AudioPathStatus status = AudioPathStatus::ready();
  ExclusiveAccessStatus exclusiveAccess = ExclusiveAccessStatus::off();
  std::shared_ptr<const SignalPath> path;  ///< null: none
  std::optional<FileURL> url;              ///< of the loaded track
  PathHistory::ChangeTimes changedAt;
  std::vector<PathEvent> history;  ///< oldest first
  OutputStatistics statistics;
  std::uint64_t framesHandedOver = 0;          ///< of all tracks, as far as they were recorded
  std::optional<DeliveryReport> delivery;      ///< of the loaded track, half a second old at most
  std::optional<DeliveryReport> lastDelivery;  ///< of the last track that is over

  // Of the output; 0 and nothing without one.
  double rate = 0;                          ///< hertz, of the track
  std::uint32_t bufferFrames = 0;           ///< 0: not known
  std::optional<std::int64_t> framesAhead;  ///< rendered and not heard yet
};

struct NamedText {
  std::string name;
  std::string text;
  bool isWarning = false;  ///< the user should know: a damaged file, samples that differ

  bool operator==(const NamedText&) const = default;
};

/// Underruns, recoveries, buffer, latency, frames handed over: those that are known.
[[nodiscard]] std::vector<NamedText> pathCounters(const PathDiagnostics& diagnostics);

/// What was shown of the samples of this track and of the one before.
[[nodiscard]] std::vector<NamedText> deliveryTexts(const PathDiagnostics& diagnostics);

/// "just now", "12 s ago", "3 min ago", "2 h ago"
[[nodiscard]] std::string agoText(RunLoop::Duration age);

}  // namespace tolvane
