#pragma once
// Draws for the fault campaign: the same seed gives the same draws with every compiler and library.
// The test's thread. Never seeded from a clock.

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tolvane {

class CampaignRandom {
 public:
  /// Seeds that are neighbours give draws that have nothing in common.
  explicit CampaignRandom(std::uint64_t seed) : state_(mixed(mixed(seed + step) + step)) {}

  std::uint64_t next() { return mixed(state_ += step); }  // splitmix64
  /// 0 … bound − 1. REQUIRES: bound > 0.
  std::size_t below(std::size_t bound) { return next() % bound; }
  bool percent(unsigned share) { return below(100) < share; }
  double between(double low, double high) { return low + (high - low) * static_cast<double>(next() >> 11) * 0x1.0p-53; }
  /// Between the two with every order of magnitude equally likely.
  double logarithmic(double low, double high) { return low * std::pow(high / low, between(0, 1)); }

  template <typename T>
  const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
  }
  template <typename T, std::size_t n>
  const T& pick(const std::array<T, n>& from) {
    return from[below(n)];
  }

 private:
  static constexpr std::uint64_t step = 0x9E3779B97F4A7C15U;

  static constexpr std::uint64_t mixed(std::uint64_t z) {
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9U;
    z = (z ^ z >> 27) * 0x94D049BB133111EBU;
    return z ^ z >> 31;
  }

  std::uint64_t state_;
};

}  // namespace tolvane
