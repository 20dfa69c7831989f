#pragma once
// Converts seconds of a track to frames. Pure.

#include <cmath>

namespace tolvane {

/// The frame that contains this moment, rounded down; not finite if the product is not. A reported position is frames
/// divided by the rate; multiplied again it may fall short of a whole frame by a rounding error. The tolerance is in
/// frames.
inline double frameAt(double seconds, double rate) {
  constexpr double tolerance = 1e-4;
  return std::floor(seconds * rate + tolerance);
}

}  // namespace tolvane
