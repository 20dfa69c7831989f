#include "ui/OutputAdjustmentSlider.h"

#include <algorithm>
#include <cmath>

namespace tolvane {

namespace {

constexpr double grabTolerance = 3.0;  // beside the thumb
constexpr double roundingError = 1e-9;
constexpr double fineFactor = 0.1;
constexpr double step = 0.01;
constexpr double stepsANotch = 5;

}  // namespace

double OutputAdjustmentSlider::clamped(double value) const {
  // Samples pass unaltered only at exactly 100 % and exactly the centre: a rounding error must not prevent that.
  for (const double exact : {lower, upper, resetValue}) {
    if (std::abs(value - exact) < roundingError) return exact;
  }
  return std::clamp(value, lower, upper);
}

double OutputAdjustmentSlider::thumbCentre(double value, double width) const {
  return thumbWidth / 2 + (value - lower) / (upper - lower) * trackWidth(width);
}

double OutputAdjustmentSlider::dragChanged(double startX, double x, double width, double value, bool isShiftHeld) {
  const double track = trackWidth(width);
  if (!drag) {
    const bool misses = std::abs(startX - thumbCentre(value, width)) > thumbWidth * 0.5 + grabTolerance;
    if (!isShiftHeld && misses && track > 0) value = lower + (startX - thumbWidth / 2) / track * (upper - lower);
    drag = Drag{clamped(value), startX};
  }
  if (track > 0) {
    const double factor = isShiftHeld ? fineFactor : 1;
    drag->value = clamped(drag->value + factor * (x - drag->previousLocation) / track * (upper - lower));
  }
  drag->previousLocation = x;
  return drag->value;
}

double OutputAdjustmentSlider::adjusted(double value, double direction, bool isShiftHeld) const {
  return clamped(value + direction * (isShiftHeld ? step * fineFactor : step));
}

double OutputAdjustmentSlider::turned(double value, double notches, bool isShiftHeld) const {
  return adjusted(value, notches * stepsANotch, isShiftHeld);
}

}  // namespace tolvane
