#pragma once
// A sink that has gone a moment ago, or whose card was given to the server just now: how long it is waited for. Main
// thread; a plain value.

#include <algorithm>
#include <chrono>

#include "platform/RunLoop.h"

namespace tolvane {

class SinkExpectation {
 public:
  /// A server that starts anew, a card that is handed back.
  static constexpr RunLoop::Duration limit = std::chrono::milliseconds(3500);

  void begin(RunLoop::TimePoint now) { end_ = now + limit; }
  /// The sink is there, or is not to come.
  void end() { end_ = RunLoop::TimePoint::min(); }
  [[nodiscard]] bool isPending(RunLoop::TimePoint now) const { return now < end_; }
  [[nodiscard]] RunLoop::Duration left(RunLoop::TimePoint now) const {
    return isPending(now) ? end_ - now : RunLoop::Duration::zero();
  }

 private:
  RunLoop::TimePoint end_ = RunLoop::TimePoint::min();
};

}  // namespace tolvane
