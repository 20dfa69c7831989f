#pragma once
// What is known about the signal path, its history, and the samples that it carried: for the window's sheet and the
// report. A value, and the texts that both show.

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
  RunLoop::TimePoint at{};  ///< when this was read
  AudioPathStatus status = AudioPathStatus::ready();
  ExclusiveAccessStatus exclusiveAccess = ExclusiveAccessStatus::off();
  std::shared_ptr<const SignalPath> path;  ///< null: none
  std::optional<FileURL> url;              ///< of the loaded track
  PathHistory::ChangeTimes changedAt;
  std::vector<PathEvent> history;  ///< oldest first
  OutputStatistics statistics;
  std::uint64_t framesHandedOver = 0;          ///< of all tracks, as far as they were recorded
  std::optional<DeliveryReport> delivery;      ///< of the loaded track, at most half a second old
  std::optional<DeliveryReport> lastDelivery;  ///< of the last track that finished

  // Of the output; 0 or nothing without one.
  double rate = 0;                          ///< hertz, of the track
  std::uint32_t bufferFrames = 0;           ///< 0: unknown
  std::optional<std::int64_t> framesAhead;  ///< rendered but not heard yet
};

struct NamedText {
  BilingualText name;
  BilingualText text;
  bool isWarning = false;  ///< needs the user's attention: a damaged file, samples that differ

  bool operator==(const NamedText&) const = default;
};

/// Underruns, recoveries, buffer, latency, frames handed to the device: those that are known.
[[nodiscard]] std::vector<NamedText> pathCounters(const PathDiagnostics& diagnostics);

/// What was found about the samples of this track and of the previous one.
[[nodiscard]] std::vector<NamedText> deliveryTexts(const PathDiagnostics& diagnostics);

/// "just now", "12 s ago", "3 min ago", "2 h ago"
[[nodiscard]] BilingualText agoText(RunLoop::Duration age);

}  // namespace tolvane
