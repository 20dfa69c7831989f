#pragma once
// Detects that an obstacle to taking a card may be gone: then the next attempt need not wait. Player's thread; a plain
// value. Changes caused by the attempts themselves must not count: each attempt is a gap in the music.

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <utility>

#include "platform/RunLoop.h"

namespace tolvane {

class RetakeObstacles {
 public:
  /// A card that is reopened shows no format for a moment: a shorter time means no other program.
  static constexpr RunLoop::Duration leastContest = std::chrono::seconds(1);

  /// An attempt has failed while nodes of other programs played on the sink.
  void attemptFailed(std::set<std::uint32_t> others) {
    others_ = std::move(others);
    onSink_.clear();
    contestedSince_.reset();
  }

  /// True once for each obstacle that has gone. `existing`: the nodes that there are now; `onSink`: those of them that
  /// are linked to the sink. `isContested`: while a unit plays through the sink, the kernel does not show one format
  /// for the card, because another program has it open too.
  [[nodiscard]] bool haveEased(const std::set<std::uint32_t>& existing, const std::set<std::uint32_t>& onSink,
                               bool isContested, RunLoop::TimePoint now) {
    // The attempt itself takes streams off the sink, and they come back to it: only one that leaves after that counts.
    const auto gone = std::erase_if(others_, [&](std::uint32_t node) {
      if (onSink.contains(node)) onSink_.insert(node);
      return !existing.contains(node) || (onSink_.contains(node) && !onSink.contains(node));
    });
    if (isContested) {
      if (!contestedSince_) contestedSince_ = now;
      return gone != 0;
    }
    const auto since = std::exchange(contestedSince_, std::nullopt);
    return gone != 0 || (since && now - *since >= leastContest);
  }
  /// While no unit plays through the sink, the kernel's report is not meaningful.
  void stopLooking() { contestedSince_.reset(); }

 private:
  std::set<std::uint32_t> others_;
  std::set<std::uint32_t> onSink_;  ///< nodes that have been on the sink since the attempt
  std::optional<RunLoop::TimePoint> contestedSince_;
};

}  // namespace tolvane
