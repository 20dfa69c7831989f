#pragma once
// Resampling with libsoxr, for devices that cannot run at the source's rate. Made and reset on the player's thread;
// push() and pull() are for the render thread. Never used where the rates agree.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

struct soxr;

namespace tolvane {

/// Interleaved doubles. The library hands out a filter's length of frames late; the converter is primed with silence,
/// so that from the first pull() on every frame out is owed to a known time of the input: clientFrames() is exact to
/// one frame. The library's queues reach their full size while priming, and are not allocated again afterwards.
class RateConverter {
 public:
  /// Null when the library refuses these rates. `maximumFrames`: the most that push() or pull() is given.
  static std::unique_ptr<RateConverter> make(double fromRate, double toRate, std::uint32_t channels,
                                             std::size_t maximumFrames);
  ~RateConverter();
  RateConverter(const RateConverter&) = delete;
  RateConverter& operator=(const RateConverter&) = delete;

  /// Player's thread, while no thread pulls: drops what was pushed and primes again. False: the library failed.
  [[nodiscard]] bool reset();

  /// The number of frames taken: all of them, or 0 when the library failed.
  std::size_t push(const double* frames, std::size_t count) noexcept;
  /// Returns the number of frames produced; 0: push first.
  std::size_t pull(double* frames, std::size_t count) noexcept;

  /// How many of the frames pushed since reset() have been heard when `pulled` of the pulled ones have.
  [[nodiscard]] std::int64_t clientFrames(std::int64_t pulled) const noexcept;

 private:
  RateConverter(double fromRate, double toRate, std::uint32_t channels, std::size_t maximumFrames);

  const double fromRate_;
  const double toRate_;
  const std::uint32_t channels_;
  const std::size_t maximumFrames_;
  std::vector<double> silence_;
  std::vector<double> discarded_;
  soxr* soxr_ = nullptr;
  std::int64_t primedIn_ = 0;
  std::int64_t primedOut_ = 0;
};

}  // namespace tolvane
