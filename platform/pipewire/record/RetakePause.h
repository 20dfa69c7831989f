#pragma once
// The pause after a failed attempt to take a card from a playing unit: each attempt is a gap in the music. Player's
// thread; a plain value.

#include <algorithm>
#include <chrono>

#include "platform/RunLoop.h"

namespace tolvane {

class RetakePause {
 public:
  static constexpr RunLoop::Duration first = std::chrono::seconds(30);
  static constexpr RunLoop::Duration longest = std::chrono::minutes(8);

  [[nodiscard]] bool isOver(RunLoop::TimePoint now) const { return now >= end_; }
  /// 0 when it is over.
  [[nodiscard]] RunLoop::Duration left(RunLoop::TimePoint now) const {
    return isOver(now) ? RunLoop::Duration::zero() : end_ - now;
  }
  /// Twice as long with each failure, up to the longest.
  void attemptFailed(RunLoop::TimePoint now) {
    end_ = now + next_;
    next_ = std::min(2 * next_, longest);
  }
  /// The obstacle is gone.
  void reset() { *this = {}; }

 private:
  RunLoop::TimePoint end_ = RunLoop::TimePoint::min();
  RunLoop::Duration next_ = first;
};

}  // namespace tolvane
