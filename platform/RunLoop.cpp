#include "platform/RunLoop.h"

#include <algorithm>
#include <cmath>

namespace tolvane {

RunLoop::Duration durationFromSeconds(double seconds) {
  constexpr double century = 3.2e9;
  if (std::isnan(seconds)) return RunLoop::Duration::zero();
  return RunLoop::Duration(std::llround(std::clamp(seconds, -century, century) * 1e9));
}

double secondsFromDuration(RunLoop::Duration duration) { return static_cast<double>(duration.count()) / 1e9; }

}  // namespace tolvane
