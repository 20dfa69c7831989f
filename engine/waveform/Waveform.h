#pragma once
// A track's loudness over time, and its extraction from a file. The extraction runs on any thread, keeps one chunk of
// the file in memory and ends soon after a stop request.

#include <optional>
#include <stop_token>
#include <vector>

#include "engine/AudioPlayerError.h"
#include "platform/AudioFileServices.h"

namespace tolvane {

inline constexpr std::int64_t maxWaveformSamples = 500;

struct Waveform {
  std::vector<double> samples;  ///< root mean squares, not normalised
  double duration = 0;          ///< seconds

  bool operator==(const Waveform&) const = default;
};

/// The waveform in at most `maxSamples` buckets, or the fault of the file. Nothing after a stop request.
[[nodiscard]] std::optional<Result<Waveform>> makeWaveformData(AudioFileServices& files, const FileURL& url,
                                                               std::int64_t maxSamples, const std::stop_token& stop);

}  // namespace tolvane
