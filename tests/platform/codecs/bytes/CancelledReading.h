#pragma once
// Readings of files in memory from opening to the last sample, as a preparation makes them, watched from within: before
// each access to the file a look is taken at the progress, and one of them may be where the reading is cancelled.

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/codecs/bytes/ByteSource.h"
#include "platform/codecs/decoding/EncodedTrack.h"

namespace tolvane::test {

struct WatchedReading {
  OSStatus status = noErr;   ///< of the step that failed
  std::uint64_t frames = 0;  ///< that came; of a PCM file: bytes
  std::vector<std::byte> data;
  std::uint64_t accesses = 0;  ///< to the file
  std::uint64_t reported = 0;  ///< frames or bytes, counted exactly even where they are too many
  bool neverFellBack = true;   ///< progress

  bool wasCancelled = false;       ///< it came as far as that
  std::uint64_t lateAccesses = 0;  ///< begun after it was cancelled
  std::uint64_t lateReported = 0;  ///< reported after it was cancelled
};

/// As a compressed file, of which no more than 2^22 samples are read.
[[nodiscard]] WatchedReading decodeWatched(const std::shared_ptr<const ByteSource>& file, const SegmentLimits& limits,
                                           std::uint64_t cancelAtAccess = 0);

/// As a PCM file, in pieces of 64 KiB.
[[nodiscard]] WatchedReading readPCMWatched(const std::shared_ptr<const ByteSource>& file,
                                            std::uint64_t cancelAtAccess = 0);

/// Places at which a file is cancelled.
#ifdef __SANITIZE_THREAD__
constexpr std::uint64_t cancelPoints = 4;  // as for damaged files: this sanitizer looks for races only, and takes long
#else
constexpr std::uint64_t cancelPoints = 8;
#endif

/// Frames that each worker may still decode after the cancellation.
constexpr std::uint64_t mostLateFrames = 4096;

/// How much cancelled readings did after they were cancelled, and how many there were.
struct LateWork {
  std::uint64_t readings = 0;
  std::uint64_t mostAccesses = 0;
  std::uint64_t mostFrames = 0;
};

/// Reads the file again and again, cancelled at `points` of its accesses from the first to the last. Each such reading
/// must fail with userCanceledErr and do no more than what was begun. With one worker each must come as far as its
/// point.
[[nodiscard]] LateWork cancelEverywhere(const std::shared_ptr<const ByteSource>& file, const SegmentLimits& limits,
                                        std::uint64_t points);

}  // namespace tolvane::test
