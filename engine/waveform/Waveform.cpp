#include "engine/waveform/Waveform.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>

#include "engine/waveform/WaveformFile.h"

namespace tolvane {

namespace {

constexpr std::int64_t chunkFrames = 65536;
constexpr std::int64_t chunkBytes = 8 * 1024 * 1024;  ///< limit for files with unusually many channels

/// In single precision, in independent lanes so that it runs in vector registers.
float sumOfSquares(std::span<const float> samples) {
  constexpr std::size_t laneCount = 16;
  std::array<float, laneCount> lanes{};
  std::size_t i = 0;
  for (; i + laneCount <= samples.size(); i += laneCount) {
    for (std::size_t lane = 0; lane < laneCount; ++lane) lanes[lane] += samples[i + lane] * samples[i + lane];
  }
  float sum = 0;
  for (const float lane : lanes) sum += lane;
  for (; i < samples.size(); ++i) sum += samples[i] * samples[i];
  return sum;
}

class Buckets {
 public:
  Buckets(std::int64_t length, std::int64_t maxSamples)
      : framesPerBucket_(std::max<std::int64_t>((length - 1) / maxSamples + 1, 1)),
        sumSquares_(static_cast<std::size_t>((length - 1) / framesPerBucket_ + 1)),
        frameCounts_(sumSquares_.size()) {}

  /// Adds the frames that the file has just read, beginning with this one.
  void add(const WaveformFile& file, std::int64_t position, std::int64_t frames) {
    for (std::int64_t offset = 0; offset < frames;) {
      const std::int64_t frame = position + offset;
      const std::int64_t segment = std::min(framesPerBucket_ - frame % framesPerBucket_, frames - offset);
      const auto bucket = static_cast<std::size_t>(frame / framesPerBucket_);
      double power = 0;
      for (std::uint32_t channel = 0; channel < file.channels(); ++channel)
        power += sumOfSquares(
            file.channel(channel).subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(segment)));
      if (file.channels() > 0) sumSquares_[bucket] += power / file.channels();
      frameCounts_[bucket] += segment;
      offset += segment;
    }
  }

  [[nodiscard]] std::vector<double> rootMeanSquares() const {
    std::vector<double> values(sumSquares_.size());
    for (std::size_t i = 0; i < values.size(); ++i)
      values[i] = std::sqrt(sumSquares_[i] / static_cast<double>(std::max<std::int64_t>(frameCounts_[i], 1)));
    return values;
  }

 private:
  const std::int64_t framesPerBucket_;
  std::vector<double> sumSquares_;
  std::vector<std::int64_t> frameCounts_;
};

}  // namespace

std::optional<Result<Waveform>> makeWaveformData(AudioFileServices& files, const FileURL& url, std::int64_t maxSamples,
                                                 const std::stop_token& stop) {
  try {
    auto file = WaveformFile::open(files, url);
    if (!file) return std::unexpected(file.error());
    const std::int64_t length = file->length();
    if (length < 1 || maxSamples < 1) return Waveform{};
    const std::int64_t mostFrames =
        std::clamp<std::int64_t>(chunkBytes / std::max(file->bytesPerFrame(), 1U), 1, chunkFrames);
    Buckets buckets(length, maxSamples);
    for (std::int64_t position = 0; position < length;) {
      if (stop.stop_requested()) return std::nullopt;
      const auto frames = file->read(static_cast<std::size_t>(std::min(length - position, mostFrames)));
      if (!frames) return std::unexpected(frames.error());
      const auto count = std::min(static_cast<std::int64_t>(*frames), length - position);
      if (count == 0 || file->channels() == 0) break;  // shorter than announced: what was read is used
      buckets.add(*file, position, count);
      position += count;
    }
    const double rate = file->sampleRate();
    return Waveform{buckets.rootMeanSquares(), rate > 0 ? static_cast<double>(length) / rate : 0};
  } catch (const std::bad_alloc&) {
    return Waveform{};
  }
}

}  // namespace tolvane
