#pragma once
// Carries the user's levels from the player's thread to the render thread in one atomic word, so that a volume is only
// ever seen together with the balance that was stored with it. Any thread may load and store.
// Must never lock: the word is lock-free or the program does not compile.

#include <atomic>
#include <bit>
#include <cstdint>
#include <limits>

#include "engine/render/OutputLevels.h"

namespace tolvane {

class AtomicOutputLevels {
 public:
  AtomicOutputLevels() = default;
  AtomicOutputLevels(const AtomicOutputLevels&) = delete;
  AtomicOutputLevels& operator=(const AtomicOutputLevels&) = delete;

  /// Always sanitised. A read-modify-write that adds nothing, because only those are sure to see the newest store.
  [[nodiscard]] OutputLevels load() const noexcept {
    // seq_cst: a full barrier. Partner: the exchange in store().
    return unpacked(storage_.fetch_add(0, std::memory_order_seq_cst)).sanitised();
  }

  /// Narrows both values to 32-bit floats: values within 2^-25 of neutral become neutral.
  void store(OutputLevels levels) noexcept {
    const std::uint64_t desired = packed(levels);
    // relaxed: only a first guess; the exchange verifies it.
    std::uint64_t expected = storage_.load(std::memory_order_relaxed);
    // seq_cst: a full barrier. Partner: the fetch_add in load(). relaxed on failure: the guess is checked again.
    while (!storage_.compare_exchange_weak(expected, desired, std::memory_order_seq_cst, std::memory_order_relaxed)) {
    }
  }

 private:
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
  static_assert(std::numeric_limits<float>::is_iec559);

  static constexpr std::uint64_t packed(OutputLevels levels) noexcept {
    const auto low = std::bit_cast<std::uint32_t>(static_cast<float>(levels.volume));
    const auto high = std::bit_cast<std::uint32_t>(static_cast<float>(levels.balance));
    return std::uint64_t{high} << 32 | low;
  }

  static constexpr OutputLevels unpacked(std::uint64_t word) noexcept {
    return {std::bit_cast<float>(static_cast<std::uint32_t>(word)),
            std::bit_cast<float>(static_cast<std::uint32_t>(word >> 32))};
  }

  /// Low 32 bits: the volume's float bits; high 32 bits: the balance's. On a cache line of its own, because the render
  /// thread loads it once per buffer. Mutable, because a load is an addition of 0.
  alignas(64) mutable std::atomic<std::uint64_t> storage_{packed({})};
};

}  // namespace tolvane
