#include "platform/codecs/flac/FlacSegments.h"

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

#include "platform/codecs/flac/FlacDecoder.h"
#include "platform/codecs/flac/FlacScanner.h"
#include "platform/codecs/decoding/Segments.h"

namespace tolvane {

namespace {

struct Segment {
  FlacDecoder::Place place;  ///< where it begins
  StretchProgress progress;
  std::span<std::byte> range{};  ///< of the destination, up to the next segment
  std::unique_ptr<FlacDecoder> decoder{};
  std::expected<std::uint64_t, OSStatus> frames = 0;
};

class FlacJob {
 public:
  FlacJob(const ByteSource& source, const FlacStream& stream, std::span<std::byte> destination,
          ReadingProgress& progress)
      : source_(source),
        stream_(stream),
        bytesPerFrame_(stream.channels * sizeof(float)),
        destination_(destination),
        progress_(progress) {}

  /// Places are looked for at equal distances in the file, each for a bounded number of bytes.
  void findSegments(std::uint64_t count) {
    const std::uint64_t frames = destination_.size() / bytesPerFrame_;
    add({stream_.firstBlock, stream_.firstFrame});
    for (std::uint64_t i = 1; i < count; ++i) {
      if (const auto place = findPlace(i, count); place && place->frame - stream_.firstFrame < frames) add(*place);
    }
    for (std::size_t i = 0; i < segments_.size(); ++i) {
      const std::size_t begin = byteOf(segments_[i].place);
      const std::size_t end = i + 1 < segments_.size() ? byteOf(segments_[i + 1].place) : frames * bytesPerFrame_;
      segments_[i].range = destination_.subspan(begin, end - begin);
    }
  }

  /// Decodes segments until none is left, or one has not reached its end: those after it are hardly ever of use.
  void work() {
    // Relaxed: the join hands the samples to the caller.
    while (!isBroken_.load(std::memory_order_relaxed)) {
      const std::size_t index = next_.fetch_add(1, std::memory_order_relaxed);
      if (index >= segments_.size()) return;
      if (!decode(segments_[index])) isBroken_.store(true, std::memory_order_relaxed);
    }
  }

  /// After the join: what a serial decode gives.
  [[nodiscard]] DecodedStart finish() {
    DecodedStart start;
    std::unique_ptr<FlacDecoder> decoder;
    std::uint64_t done = 0;
    for (auto& segment : segments_) {
      const bool goesOn = decoder == nullptr || decoder->place() == segment.place;
      if (goesOn && segment.decoder != nullptr) {
        if (decoder) start.blocksTried += decoder->blocksTried();
        decoder = std::move(segment.decoder);
        start.frames = segment.frames;
      } else if (decoder != nullptr) {
        start.frames = decodeStretch(*decoder, segment.range, bytesPerFrame_, segment.progress);
      } else {
        start.frames = segment.frames;
      }
      if (!start.frames) break;
      done += *start.frames;
      const bool isWhole = *start.frames * bytesPerFrame_ == segment.range.size();
      start.frames = done;
      if (!isWhole) break;
    }
    if (decoder) start.blocksTried += decoder->blocksTried();
    for (const auto& segment : segments_) {
      if (segment.decoder) start.blocksTried += segment.decoder->blocksTried();
    }
    start.decoder = std::move(decoder);
    return start;
  }

 private:
  void add(const FlacDecoder::Place& place) {
    segments_.push_back({.place = place, .progress = StretchProgress(progress_)});
  }

  [[nodiscard]] std::size_t byteOf(const FlacDecoder::Place& place) const {
    return (place.frame - stream_.firstFrame) * bytesPerFrame_;
  }

  [[nodiscard]] std::optional<FlacDecoder::Place> findPlace(std::uint64_t index, std::uint64_t count) const {
    constexpr std::size_t searchWindowBytes = 64 * 1024;
    constexpr std::uint64_t longestSearch = 1024 * 1024;
    const std::uint64_t length = stream_.end - stream_.firstBlock;
    const std::uint64_t begin = stream_.firstBlock + length / count * index;
    const std::uint64_t limit = begin + std::min(length / count, longestSearch);
    FlacScanner scanner(source_, stream_, searchWindowBytes);
    for (std::uint64_t offset = begin; offset < limit;) {
      const auto head = scanner.find(offset, limit);
      if (!head || !*head) break;
      const auto& found = **head;
      if (found.hasFormatOf(stream_) && found.frame > segments_.back().place.frame) {
        return FlacDecoder::Place{found.offset, found.frame};
      }
      offset = found.offset + 1;
    }
    return std::nullopt;
  }

  bool decode(Segment& segment) const {
    auto decoder = FlacDecoder::open(source_, stream_, segment.place);
    if (decoder) {
      segment.decoder = std::move(*decoder);
      segment.frames = decodeStretch(*segment.decoder, segment.range, bytesPerFrame_, segment.progress);
    } else {
      segment.frames = std::unexpected(decoder.error());
    }
    return segment.frames && *segment.frames * bytesPerFrame_ == segment.range.size();
  }

  const ByteSource& source_;
  const FlacStream& stream_;
  const std::uint64_t bytesPerFrame_;
  const std::span<std::byte> destination_;
  ReadingProgress& progress_;
  std::vector<Segment> segments_;  ///< each decoded by one worker
  std::atomic<std::size_t> next_ = 0;
  std::atomic<bool> isBroken_ = false;
};

}  // namespace

DecodedStart decodeFlacInSegments(const ByteSource& source, const FlacStream& stream, std::span<std::byte> destination,
                                  const SegmentLimits& limits, ReadingProgress& progress) {
  FlacJob job(source, stream, destination, progress);
  const std::uint64_t frames = destination.size() / (stream.channels * sizeof(float));
  const std::uint64_t segments = std::max<std::uint64_t>(segmentCount(frames, limits), 1);
  job.findSegments(segments);
  runOnWorkers(segments > 1 ? workerCount(limits) : 1, [&job] { job.work(); });
  return job.finish();
}

}  // namespace tolvane
