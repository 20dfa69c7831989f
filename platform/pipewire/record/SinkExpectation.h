#pragma once
// A sink that is temporarily away, or whose card was just returned to the server: how long it is waited for.
// Player's thread; a plain value.

#include <algorithm>
#include <chrono>

#include "platform/RunLoop.h"

namespace tolvane {

class SinkExpectation {
 public:
  /// Long enough for a server to restart, or a card to be returned.
  static constexpr RunLoop::Duration limit = std::chrono::milliseconds(3500);

  void begin(RunLoop::TimePoint now) { end_ = now + limit; }
  /// The sink has come, or will not come.
  void end() { end_ = RunLoop::TimePoint::min(); }
  [[nodiscard]] bool isPending(RunLoop::TimePoint now) const { return now < end_; }
  [[nodiscard]] RunLoop::Duration left(RunLoop::TimePoint now) const {
    return isPending(now) ? end_ - now : RunLoop::Duration::zero();
  }

 private:
  RunLoop::TimePoint end_ = RunLoop::TimePoint::min();
};

}  // namespace tolvane
