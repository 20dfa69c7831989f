#pragma once
// Seconds of a track as frames. Pure.

#include <cmath>

namespace tolvane {

/// The frame that holds this moment, cut off; not finite where the product is not. A reported position is a quotient,
/// whose product with the rate may fall short of the frame by a rounding error; the tolerance is in frames.
inline double frameAt(double seconds, double rate) {
  constexpr double tolerance = 1e-4;
  return std::floor(seconds * rate + tolerance);
}

}  // namespace tolvane
