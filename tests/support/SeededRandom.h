#pragma once
// Random numbers that are the same on every machine and every run. (The standard distributions are not.)

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tolvane::test {

/// SplitMix64.
class SeededRandom {
 public:
  explicit SeededRandom(std::uint64_t seed) : state_(seed) {}

  [[nodiscard]] std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t z = state_;
    z = (z ^ z >> 30U) * 0xBF58476D1CE4E5B9U;
    z = (z ^ z >> 27U) * 0x94D049BB133111EBU;
    return z ^ z >> 31U;
  }
  /// 0 … count − 1. REQUIRES: count > 0. The bias of at most count / 2^64 is no matter here.
  [[nodiscard]] std::uint64_t below(std::uint64_t count) { return next() % count; }
  [[nodiscard]] std::int64_t between(std::int64_t lowest, std::int64_t highest) {
    return lowest + static_cast<std::int64_t>(below(static_cast<std::uint64_t>(highest - lowest) + 1));
  }
  /// 0 included, 1 not.
  [[nodiscard]] double fraction() { return static_cast<double>(next() >> 11U) * 0x1p-53; }
  [[nodiscard]] bool chance(double probability) { return fraction() < probability; }

  [[nodiscard]] std::vector<std::byte> bytes(std::size_t count) {
    std::vector<std::byte> result(count);
    for (auto& byte : result) byte = static_cast<std::byte>(next());
    return result;
  }

 private:
  std::uint64_t state_;
};

}  // namespace tolvane::test
