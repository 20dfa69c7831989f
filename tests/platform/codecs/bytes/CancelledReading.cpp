#include "tests/platform/codecs/bytes/CancelledReading.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <mutex>

#include "platform/codecs/FileOpening.h"

namespace tolvane::test {
namespace {

/// Counted twice, so that more than all would show.
constexpr std::uint64_t expectedOfEach = 2;
constexpr std::size_t pieceBytes = 64 * 1024;  ///< of a PCM file

class WatchedFile final : public ByteSource {
 public:
  WatchedFile(std::shared_ptr<const ByteSource> file, std::uint64_t cancelAtAccess)
      : file_(std::move(file)), cancelAtAccess_(cancelAtAccess) {}

  [[nodiscard]] std::uint64_t size() const override { return file_->size(); }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override {
    look();
    return file_->readAt(offset, destination);
  }

  void expect(std::uint64_t units) {
    units_ = units;
    progress.expect(units * expectedOfEach);
  }

  /// REQUIRES: no other thread reads any more.
  void report(WatchedReading& reading) const {
    reading.accesses = accesses_;
    reading.reported = unitsOf(progress.fraction());
    reading.neverFellBack = neverFellBack_ && progress.fraction() >= last_;
    reading.wasCancelled = progress.isCancelled();
    reading.lateAccesses = lateAccesses_;
    reading.lateReported = reading.wasCancelled ? reading.reported - unitsOf(atCancel_) : 0;
  }

  mutable ReadingProgress progress;

 private:
  [[nodiscard]] std::uint64_t unitsOf(double fraction) const {
    return static_cast<std::uint64_t>(std::llround(fraction * static_cast<double>(units_ * expectedOfEach)));
  }

  void look() const {
    const std::lock_guard lock(mutex_);
    ++accesses_;
    const double fraction = progress.fraction();
    neverFellBack_ = neverFellBack_ && fraction >= last_;
    last_ = fraction;
    if (progress.isCancelled()) {
      ++lateAccesses_;
    } else if (accesses_ == cancelAtAccess_) {
      atCancel_ = fraction;
      progress.cancel();
    }
  }

  const std::shared_ptr<const ByteSource> file_;
  const std::uint64_t cancelAtAccess_;
  std::uint64_t units_ = 0;
  mutable std::mutex mutex_;  // guards all below
  mutable std::uint64_t accesses_ = 0;
  mutable std::uint64_t lateAccesses_ = 0;
  mutable double last_ = 0;
  mutable double atCancel_ = 0;
  mutable bool neverFellBack_ = true;
};

OSStatus decodeAll(const std::shared_ptr<WatchedFile>& source, const SegmentLimits& limits, WatchedReading& reading) {
  constexpr std::int64_t mostSamples = std::int64_t{1} << 22;
  const auto file = openEncoded(source, limits, &source->progress);
  if (!file) return file.error();
  const auto length = (*file)->fileLengthFrames();
  if (!length) return length.error();
  const std::uint32_t channels = (*file)->fileDataFormat()->mChannelsPerFrame;
  const auto frames = static_cast<std::uint32_t>(std::min(*length, mostSamples / channels));
  reading.data.resize(frames * channels * sizeof(float));
  source->expect(frames);
  const auto count = (*file)->read(frames, reading.data);
  if (!count) return count.error();
  reading.frames = *count;
  reading.data.resize(*count * channels * sizeof(float));
  return noErr;
}

OSStatus readAllPCM(const std::shared_ptr<WatchedFile>& source, WatchedReading& reading) {
  const auto file = openLinearPCM(source, &source->progress);
  if (!file) return file.error();
  reading.data.resize(*(*file)->audioDataByteCount());
  source->expect(reading.data.size());
  while (reading.frames < reading.data.size()) {
    const auto rest = std::span(reading.data).subspan(reading.frames);
    const auto count = (*file)->readBytes(reading.frames, rest.first(std::min(pieceBytes, rest.size())));
    if (!count) return count.error();
    if (*count == 0) break;
    reading.frames += *count;
    source->progress.advance(*count);
  }
  // A caller that reads in pieces checks after the last one.
  return source->progress.isCancelled() ? userCanceledErr : noErr;
}

/// Checks what holds of every cancelled reading. The piece in hand of each worker may have been reported late.
void judge(const WatchedReading& reading, unsigned workers, std::uint64_t piece, bool mustComeSoFar, LateWork& work) {
  EXPECT_TRUE(reading.wasCancelled || !mustComeSoFar);
  if (!reading.wasCancelled) return;
  EXPECT_EQ(reading.status, userCanceledErr);
  // Each other thread may have asked just before.
  EXPECT_LE(reading.lateAccesses, workers - 1);
  EXPECT_LE(reading.lateReported, workers * piece);
  EXPECT_TRUE(reading.neverFellBack);
  ++work.readings;
  work.mostAccesses = std::max(work.mostAccesses, reading.lateAccesses);
}

}  // namespace

WatchedReading decodeWatched(const std::shared_ptr<const ByteSource>& file, const SegmentLimits& limits,
                             std::uint64_t cancelAtAccess) {
  WatchedReading reading;
  const auto source = std::make_shared<WatchedFile>(file, cancelAtAccess);
  reading.status = decodeAll(source, limits, reading);
  source->report(reading);
  return reading;
}

WatchedReading readPCMWatched(const std::shared_ptr<const ByteSource>& file, std::uint64_t cancelAtAccess) {
  WatchedReading reading;
  const auto source = std::make_shared<WatchedFile>(file, cancelAtAccess);
  reading.status = readAllPCM(source, reading);
  source->report(reading);
  return reading;
}

LateWork cancelEverywhere(const std::shared_ptr<const ByteSource>& file, const SegmentLimits& limits,
                          std::uint64_t points) {
  LateWork work;
  const std::uint64_t decoding = decodeWatched(file, limits).accesses;
  const std::uint64_t reading = readPCMWatched(file).accesses;
  for (std::uint64_t point = 0; point < points; ++point) {
    const auto access = [point, points](std::uint64_t all) {
      return 1 + (all - 1) * point / std::max(points - 1, std::uint64_t{1});
    };
    SCOPED_TRACE(testing::Message() << "access " << access(decoding) << " of " << decoding << ", " << limits.workers
                                    << " threads");
    const auto decoded = decodeWatched(file, limits, access(decoding));
    judge(decoded, limits.workers, mostLateFrames, limits.workers == 1, work);
    if (decoded.wasCancelled) work.mostFrames = std::max(work.mostFrames, decoded.lateReported);
    judge(readPCMWatched(file, access(reading)), 1, pieceBytes, true, work);
  }
  return work;
}

}  // namespace tolvane::test
