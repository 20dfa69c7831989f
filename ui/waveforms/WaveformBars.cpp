#include "ui/waveforms/WaveformBars.h"

#include <algorithm>
#include <cmath>

namespace tolvane {

namespace {

constexpr double smallestPeak = 0.0001;
constexpr double fullHeight = 0.92;
constexpr double smallestHeight = 4.0;
constexpr double largestRadius = 2.0;

double placeholder(std::size_t bar) { return 0.08 + 0.01 * static_cast<double>(7 * bar % 9); }

double loudest(std::span<const double> samples) {
  return samples.empty() ? 0 : *std::max_element(samples.begin(), samples.end());
}

}  // namespace

std::vector<double> resampledSamples(std::span<const double> samples, std::size_t count) {
  std::vector<double> bars(count);
  const double peak = std::max(loudest(samples), smallestPeak);
  const std::size_t n = samples.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (samples.empty()) {
      bars[i] = placeholder(i);
      continue;
    }
    const std::size_t start = i * n / count;
    const std::size_t end = std::min(n, std::max(start + 1, (i + 1) * n / count));
    bars[i] = std::clamp(loudest(samples.subspan(start, end - start)) / peak, 0.0, 1.0);
  }
  return bars;
}

std::size_t WaveformLayout::barCount() const {
  if (!(width > 0) || !(height > 0)) return 0;
  const double room = (width + effectiveSpacing()) / (effectiveBarWidth() + effectiveSpacing());
  return std::max<std::size_t>(static_cast<std::size_t>(room), 1);
}

double WaveformLayout::barX(std::size_t index, std::size_t count) const {
  const double bar = effectiveBarWidth();
  const double gap = effectiveSpacing();
  const auto n = static_cast<double>(count);
  const double total = bar * n + gap * std::max(n - 1, 0.0);
  return std::max((width - total) * 0.5, 0.0) + static_cast<double>(index) * (bar + gap);
}

bool WaveformLayout::isActive(double x) const {
  const double played = progress > 0 ? std::min(progress, 1.0) : 0;
  return (x + effectiveBarWidth() * 0.5) / width <= played;
}

std::size_t WaveformLayout::activeBarCount() const {
  const std::size_t count = barCount();
  std::size_t active = 0;
  while (active < count && isActive(barX(active, count))) ++active;
  return active;
}

std::vector<WaveformBar> WaveformLayout::bars(std::span<const double> samples) const {
  const std::size_t count = barCount();
  const auto values = resampledSamples(samples, count);
  const double bar = effectiveBarWidth();
  std::vector<WaveformBar> bars(count);
  for (std::size_t i = 0; i < count; ++i) {
    const double value = values[i] > 0 ? std::min(values[i], 1.0) : 0;
    const double barHeight = std::max(height * value * fullHeight, smallestHeight);
    const double x = barX(i, count);
    bars[i] = {x, (height - barHeight) * 0.5, bar, barHeight, std::min(bar * 0.5, largestRadius), isActive(x)};
  }
  return bars;
}

}  // namespace tolvane
