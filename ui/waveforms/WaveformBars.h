#pragma once
// From a track's loudness to the bars of its picture. Pure; lengths in device-independent pixels.

#include <cstddef>
#include <span>
#include <vector>

namespace tolvane {

/// The heights (0 … 1) of so many bars: the loudest sample of each group, measured by the loudest of all. Without
/// samples, the low pattern that stands in for them.
[[nodiscard]] std::vector<double> resampledSamples(std::span<const double> samples, std::size_t count);

struct WaveformBar {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  double radius = 0;
  bool isActive = false;  ///< played

  bool operator==(const WaveformBar&) const = default;
};

struct WaveformLayout {
  double width = 0;
  double height = 0;
  double barWidth = 1.5;
  double spacing = 2.5;
  double progress = 0;  ///< the played fraction

  bool operator==(const WaveformLayout&) const = default;

  /// At least 1 where there is room at all, else 0.
  [[nodiscard]] std::size_t barCount() const;
  /// How many bars, from the left, have been played.
  [[nodiscard]] std::size_t activeBarCount() const;
  [[nodiscard]] std::vector<WaveformBar> bars(std::span<const double> samples) const;

 private:
  [[nodiscard]] double effectiveBarWidth() const { return barWidth > 1.0 ? barWidth : 1.0; }
  [[nodiscard]] double effectiveSpacing() const { return spacing > 0 ? spacing : 0; }
  [[nodiscard]] double barX(std::size_t index, std::size_t count) const;
  [[nodiscard]] bool isActive(double x) const;
};

}  // namespace tolvane
