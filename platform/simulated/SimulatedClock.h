#pragma once
// How far a simulated device has played: frames as a function of time, at a given speed, from ring to ear.
// Player's thread. Pure arithmetic; schedules nothing. Exact to a frame over months.

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "platform/RunLoop.h"

namespace tolvane {

class SimulatedClock {
 public:
  using TimePoint = RunLoop::TimePoint;

  void restart(double framesPerSecond) { *this = SimulatedClock(framesPerSecond); }

  [[nodiscard]] bool isGoing() const { return isGoing_; }
  void go(TimePoint now) {
    if (isGoing_) return;
    anchorTime_ = now;
    isGoing_ = true;
  }
  /// Frames stand still until go().
  void halt(TimePoint now) {
    anchorFrames_ = exactFrames(now);
    isGoing_ = false;
  }
  void changeSpeed(TimePoint now, double framesPerSecond) {
    anchorFrames_ = exactFrames(now);
    anchorTime_ = now;
    framesPerSecond_ = framesPerSecond;
  }

  /// Whole frames at `now`.
  [[nodiscard]] std::int64_t frames(TimePoint now) const {
    constexpr double hair = 1e-6;  // a moment computed by momentOf() must not round to the frame before
    return static_cast<std::int64_t>(std::floor(exactFrames(now) + hair));
  }

  /// REQUIRES: isGoing(). The first moment at which frames() gives `frames`.
  [[nodiscard]] TimePoint momentOf(std::int64_t frames) const {
    const double seconds = (static_cast<double>(frames) - anchorFrames_) / framesPerSecond_;
    return anchorTime_ + RunLoop::Duration(static_cast<std::int64_t>(std::ceil(std::max(seconds, 0.0) * 1e9)));
  }

  SimulatedClock() = default;

 private:
  explicit SimulatedClock(double framesPerSecond) : framesPerSecond_(framesPerSecond) {}

  [[nodiscard]] double exactFrames(TimePoint now) const {
    if (!isGoing_) return anchorFrames_;
    return anchorFrames_ + static_cast<double>((now - anchorTime_).count()) * 1e-9 * framesPerSecond_;
  }

  TimePoint anchorTime_;
  double anchorFrames_ = 0;
  double framesPerSecond_ = 1;
  bool isGoing_ = false;
};

}  // namespace tolvane
