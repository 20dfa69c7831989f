#pragma once
// The user's software volume and balance: a plain value for any thread.
// Must never turn neutral by rounding: only volume exactly 1.0 with balance exactly 0.0 leaves samples untouched.

#include <algorithm>
#include <cmath>

namespace tolvane {

struct OutputLevels {
  double volume = 1.0;   ///< linear gain, 0.0 … 1.0 (100 %)
  double balance = 0.0;  ///< -1.0 (full left) … 0.0 (Center) … +1.0 (full right)

  bool operator==(const OutputLevels&) const = default;

  [[nodiscard]] bool isNeutral() const { return volume == 1.0 && balance == 0.0; }

  /// Both values clamped to their range; one that is not finite becomes neutral.
  [[nodiscard]] OutputLevels sanitised() const {
    return {std::isfinite(volume) ? std::clamp(volume, 0.0, 1.0) : 1.0,
            std::isfinite(balance) ? std::clamp(balance, -1.0, 1.0) : 0.0};
  }
};

}  // namespace tolvane
