#include "platform/codecs/decoding/Segments.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace tolvane {

namespace {

/// One decode of one stretch of a track, shared by the workers.
class Job {
 public:
  Job(const OverlappingTrack& track, std::uint64_t bytesPerFrame, std::span<std::byte> destination,
      std::uint64_t segments, const StretchProgress& progress)
      : track_(track),
        bytesPerFrame_(bytesPerFrame),
        destination_(destination),
        frames_(destination.size() / bytesPerFrame),
        proofs_(segments),
        progress_(segments, progress.part()) {}

  /// Decodes segments until none is left, or one has failed.
  void work() {
    // Relaxed: the join synchronises the samples and the verdict with the caller.
    while (!hasFailed_.load(std::memory_order_relaxed)) {
      const std::uint64_t segment = next_.fetch_add(1, std::memory_order_relaxed);
      if (segment >= proofs_.size()) return;
      if (!decode(segment)) hasFailed_.store(true, std::memory_order_relaxed);
    }
  }

  /// After the join: evaluates what the segments have reported.
  void reportTo(StretchProgress& progress) const {
    for (const auto& part : progress_) progress.add(part);
  }

  /// After the join: every segment is complete, and continues the one before it.
  [[nodiscard]] bool isProved() const {
    if (hasFailed_.load(std::memory_order_relaxed)) return false;
    for (std::uint64_t segment = 1; segment < proofs_.size(); ++segment) {
      const auto& proof = proofs_[segment];
      if (proof.empty()) continue;
      const auto before = destination_.first(begin(segment) * bytesPerFrame_).last(proof.size());
      if (!std::ranges::equal(before, proof) || isSilent(proof)) return false;
    }
    return true;
  }

 private:
  [[nodiscard]] std::uint64_t begin(std::uint64_t segment) const {
    const std::uint64_t count = proofs_.size();
    return frames_ / count * segment + std::min(segment, frames_ % count);
  }

  [[nodiscard]] bool decode(std::uint64_t segment) {
    const std::uint64_t start = begin(segment);
    const std::uint64_t count = begin(segment + 1) - start;
    const std::uint64_t proofFrames = segment == 0 ? 0 : std::min(track_.proofFrames(), start);
    const auto decoder = track_.decoderAt(start - proofFrames);
    if (!decoder) return false;
    auto& proof = proofs_[segment];
    proof.resize(proofFrames * bytesPerFrame_);
    if ((*decoder)->decode(proof) != proofFrames) return false;
    const auto range = destination_.subspan(start * bytesPerFrame_, count * bytesPerFrame_);
    return decodeStretch(**decoder, range, bytesPerFrame_, progress_[segment]) == count;
  }

  /// Silence is the same from every decoder, and therefore proves nothing.
  [[nodiscard]] static bool isSilent(std::span<const std::byte> proof) {
    constexpr std::ptrdiff_t kEnoughSound = 1024;  // bytes
    return std::ranges::count_if(proof, [](std::byte b) { return b != std::byte{0}; }) < kEnoughSound;
  }

  const OverlappingTrack& track_;
  const std::uint64_t bytesPerFrame_;
  const std::span<std::byte> destination_;
  const std::uint64_t frames_;
  std::vector<std::vector<std::byte>> proofs_;  ///< one per segment, each written by the worker that decodes it
  std::vector<StretchProgress> progress_;       ///< likewise
  std::atomic<std::uint64_t> next_ = 0;
  std::atomic<bool> hasFailed_ = false;
};

}  // namespace

unsigned workerCount(const SegmentLimits& limits) {
  constexpr unsigned mostWorkers = 16;
  const unsigned cores = limits.workers != 0 ? limits.workers : std::thread::hardware_concurrency();
  return std::clamp(cores, 1U, mostWorkers);
}

std::uint64_t segmentCount(std::uint64_t frames, const SegmentLimits& limits) {
  // A few segments for each worker, because some stretches of music take longer than others.
  constexpr std::uint64_t segmentsPerWorker = 4;
  const unsigned workers = workerCount(limits);
  const std::uint64_t most = frames / std::max<std::uint64_t>(limits.smallestSegment, 1);
  return workers < 2 ? 1 : std::min(workers * segmentsPerWorker, most);
}

void runOnWorkers(unsigned workers, const std::function<void()>& work) {
  std::mutex mutex;
  std::exception_ptr thrown;  // guarded by mutex
  const auto guarded = [&] {
    try {
      work();
    } catch (...) {
      const std::lock_guard lock(mutex);
      thrown = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> others;
    try {
      for (unsigned i = 1; i < workers; ++i) others.emplace_back(guarded);
    } catch (const std::system_error&) {
      // No thread could be created: those that run, and this one, do all of the work.
    }
    guarded();
  }
  if (thrown) std::rethrow_exception(thrown);
}

bool decodeInSegments(const OverlappingTrack& track, std::uint64_t bytesPerFrame, std::span<std::byte> destination,
                      const SegmentLimits& limits, StretchProgress& progress) {
  const std::uint64_t segments = segmentCount(destination.size() / bytesPerFrame, limits);
  if (segments < 2) return false;
  Job job(track, bytesPerFrame, destination, segments, progress);
  runOnWorkers(workerCount(limits), [&job] { job.work(); });
  job.reportTo(progress);
  return job.isProved();
}

DecodedStart decodeOverlappingStart(const OverlappingTrack& track, std::uint64_t bytesPerFrame,
                                    std::span<std::byte> destination, const SegmentLimits& limits,
                                    ReadingProgress& progress) {
  StretchProgress whole(progress);
  if (decodeInSegments(track, bytesPerFrame, destination, limits, whole)) {
    return {destination.size() / bytesPerFrame, nullptr};
  }
  auto decoder = track.decoderAt(0);
  if (!decoder) return {std::unexpected(decoder.error()), nullptr};
  const auto frames = decodeStretch(**decoder, destination, bytesPerFrame, whole);
  return {frames, std::move(*decoder)};
}

}  // namespace tolvane
