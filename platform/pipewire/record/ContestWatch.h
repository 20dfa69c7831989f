#pragma once
// Detects that another program has opened or closed the card behind a sink, which is not notified. Player's thread; a
// plain value.

#include <chrono>
#include <optional>
#include <utility>

#include "platform/RunLoop.h"

namespace tolvane {

class ContestWatch {
 public:
  /// A card that the server reopens shows no format for a moment: a shorter time means no other program.
  static constexpr RunLoop::Duration leastContest = std::chrono::milliseconds(400);

  /// Whether the property listeners must judge the card's format anew. `isContested`: while a unit plays through the
  /// sink, the kernel does not show one format for the card.
  [[nodiscard]] bool mustNotify(bool isContested, RunLoop::TimePoint now) {
    if (!isContested) {
      since_.reset();
      return std::exchange(isNotified_, false);
    }
    if (!since_) since_ = now;
    if (isNotified_ || now - *since_ < leastContest) return false;
    return isNotified_ = true;
  }
  /// While no unit plays through the sink, the kernel's report is not meaningful.
  void stopLooking() { *this = {}; }

 private:
  std::optional<RunLoop::TimePoint> since_;
  bool isNotified_ = false;
};

}  // namespace tolvane
