#include "platform/conversion/RateConverter.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>

namespace tolvane {

std::unique_ptr<RateConverter> RateConverter::make(double fromRate, double toRate, std::uint32_t channels,
                                                   std::size_t maximumFrames) {
  if (!(fromRate > 0) || !(toRate > 0) || channels == 0 || maximumFrames == 0) return nullptr;
  std::unique_ptr<RateConverter> converter(new RateConverter(fromRate, toRate, channels, maximumFrames));
  if (!converter->reset()) return nullptr;
  return converter;
}

RateConverter::RateConverter(double fromRate, double toRate, std::uint32_t channels, std::size_t maximumFrames)
    : fromRate_(fromRate),
      toRate_(toRate),
      channels_(channels),
      maximumFrames_(maximumFrames),
      silence_(maximumFrames * channels),
      discarded_(maximumFrames * channels) {}

RateConverter::~RateConverter() { soxr_delete(soxr_); }

bool RateConverter::reset() {
  soxr_delete(soxr_);
  soxr_error_t error = nullptr;
  const soxr_io_spec_t doubles = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
  const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
  soxr_ = soxr_create(fromRate_, toRate_, channels_, &error, &doubles, &quality, &oneThread);
  if (error != nullptr || soxr_ == nullptr) return false;

  // A quarter of a second is several times the longest filter; at least eight full blocks fill every queue.
  const auto enough = static_cast<std::int64_t>(std::max(fromRate_ / 4, 8.0 * static_cast<double>(maximumFrames_)));
  primedIn_ = 0;
  primedOut_ = 0;
  while (primedIn_ < enough) {
    const std::size_t taken = push(silence_.data(), maximumFrames_);
    std::size_t came = 0;
    std::size_t drawn = 0;
    while ((drawn = pull(discarded_.data(), maximumFrames_)) > 0) came += drawn;
    if (taken == 0 && came == 0) return false;
    primedIn_ += static_cast<std::int64_t>(taken);
    primedOut_ += static_cast<std::int64_t>(came);
  }
  return true;
}

std::size_t RateConverter::push(const double* frames, std::size_t count) noexcept {
  // Without the pointer for the number consumed, the library takes all input, however little output is requested.
  std::size_t came = 0;
  return soxr_process(soxr_, frames, count, nullptr, discarded_.data(), 0, &came) == nullptr ? count : 0;
}

std::size_t RateConverter::pull(double* frames, std::size_t count) noexcept {
  std::size_t came = 0;
  std::size_t taken = 0;
  // The input pointer must not be null: the library would take that as the end of the music.
  if (soxr_process(soxr_, silence_.data(), 0, &taken, frames, count, &came) != nullptr) return 0;
  return came;
}

std::int64_t RateConverter::clientFrames(std::int64_t pulled) const noexcept {
  const double inputTime = static_cast<double>(primedOut_ + pulled) * fromRate_ / toRate_;
  return std::max<std::int64_t>(0, std::llround(inputTime) - primedIn_);
}

}  // namespace tolvane
