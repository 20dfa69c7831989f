#pragma once
// How long a card is left alone after an attempt to take it from under a unit that plays has failed: each one is a gap
// in the music. Player's thread; a plain value.

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
  /// Whatever stood in the way has gone.
  void reset() { *this = {}; }

 private:
  RunLoop::TimePoint end_ = RunLoop::TimePoint::min();
  RunLoop::Duration next_ = first;
};

}  // namespace tolvane
