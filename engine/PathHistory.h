#pragma once
// The history of the signal path since the player was created: the last changes of verdict, path and device, and the
// recoveries. A bounded record. Player's thread; changes nothing else.

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/SignalPath.h"
#include "platform/BilingualText.h"
#include "platform/RunLoop.h"

namespace tolvane {

struct PathEvent {
  enum class Kind : std::uint8_t { verdict, path, device, recovery };

  RunLoop::TimePoint at{};
  Kind kind = Kind::verdict;
  BilingualText text;

  bool operator==(const PathEvent&) const = default;
};

/// "Verdict", "Path", "Device", "Recovery", for inCatalogue()
[[nodiscard]] std::string_view eventTitle(PathEvent::Kind kind);

class PathHistory {
 public:
  static constexpr std::size_t capacity = 200;
  using ChangeTimes = std::array<std::optional<RunLoop::TimePoint>, everyPathStage.size()>;

  /// Records the published state; `path` is null while none is judged, which does not count as a change. Returns the
  /// new events, for the log. A text that differs only in a figure from one of the last second (a volume that is being
  /// changed) replaces that text and is not a new event.
  std::vector<PathEvent> note(RunLoop::TimePoint now, const AudioPathStatus& status, const SignalPath* path);
  PathEvent noteRecovery(RunLoop::TimePoint now, BilingualText text);

  /// Oldest first.
  [[nodiscard]] const std::deque<PathEvent>& events() const { return events_; }
  /// When each kind of stage last changed.
  [[nodiscard]] const ChangeTimes& changedAt() const { return changedAt_; }

 private:
  void noteVerdict(RunLoop::TimePoint now, const AudioPathStatus& status, std::vector<PathEvent>& added);
  void notePath(RunLoop::TimePoint now, const SignalPath& path, std::vector<PathEvent>& added);
  void add(PathEvent event, std::vector<PathEvent>& added);
  [[nodiscard]] bool replaceRecent(const PathEvent& event);

  std::deque<PathEvent> events_;
  ChangeTimes changedAt_;
  std::optional<AudioPathStatus> lastVerdict_;
  std::optional<SignalPath> lastPath_;
};

}  // namespace tolvane
