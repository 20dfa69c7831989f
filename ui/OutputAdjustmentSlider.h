#pragma once
// How a slider of the output panel responds to pointer, keys and wheel. A plain value; the caller stores the value it
// adjusts. Lengths in device-independent pixels. Dragging is relative, so that Shift can come and go without a jump.

#include <optional>

namespace tolvane {

struct OutputAdjustmentSlider {
  double lower = 0;
  double upper = 1;
  double resetValue = 1;
  bool centered = false;  ///< the fill begins at the centre
  double thumbWidth = 14;

  struct Drag {
    double value = 0;             ///< at the last event
    double previousLocation = 0;  ///< of the pointer
  };
  std::optional<Drag> drag{};

  /// The position of the thumb's centre in a slider of this width.
  [[nodiscard]] double thumbCentre(double value, double width) const;
  [[nodiscard]] double trackWidth(double width) const { return width - thumbWidth; }
  /// Within the range, and exactly at an end or at the reset value where only rounding keeps it from there.
  [[nodiscard]] double clamped(double value) const;

  /// The value after a change of the drag that began at `startX` and has come to `x`. `value` is the present one; it
  /// counts when the drag begins.
  double dragChanged(double startX, double x, double width, double value, bool isShiftHeld);
  void dragEnded() { drag.reset(); }

  /// One step of the keyboard or of assistive technology: direction +1 or −1.
  [[nodiscard]] double adjusted(double value, double direction, bool isShiftHeld) const;
  /// A turn of the wheel by `notches`, positive away from the user: five steps per notch.
  [[nodiscard]] double turned(double value, double notches, bool isShiftHeld) const;
};

}  // namespace tolvane
