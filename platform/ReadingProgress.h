#pragma once
// One long reading of a file as seen from outside: its progress, and whether it is still wanted. Any thread. The reader
// reports and checks; the other side reads the progress and cancels.

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace tolvane {

class ReadingProgress {
 public:
  // The reader.

  /// Adds to the total: bytes or frames, whichever the reader counts.
  void expect(std::uint64_t units) noexcept { expected_.fetch_add(units, std::memory_order_relaxed); }
  void advance(std::uint64_t units) noexcept { done_.fetch_add(units, std::memory_order_relaxed); }
  /// Must be checked at least every few milliseconds of work. Once it is true the reader stops; its result is dropped.
  [[nodiscard]] bool isCancelled() const noexcept { return isCancelled_.load(std::memory_order_relaxed); }

  // The other side.

  /// 0 … 1; 0 while the total is unknown.
  [[nodiscard]] double fraction() const noexcept {
    const auto expected = expected_.load(std::memory_order_relaxed);
    const auto done = done_.load(std::memory_order_relaxed);
    return expected == 0 ? 0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(expected));
  }
  void cancel() noexcept { isCancelled_.store(true, std::memory_order_relaxed); }

 private:
  // relaxed: figures to show, and a request that may take effect slightly later. They order nothing else.
  std::atomic<std::uint64_t> expected_{0};
  std::atomic<std::uint64_t> done_{0};
  std::atomic<bool> isCancelled_{false};
};

}  // namespace tolvane
