#pragma once
// Reports the frames of one stretch of a track to the ReadingProgress of the whole reading: each frame once, however
// often the stretch is decoded. One thread at a time. Stretches of one reading may be on several threads.

#include <cstdint>
#include <expected>
#include <span>

#include "platform/ReadingProgress.h"
#include "platform/codecs/decoding/EncodedTrack.h"

namespace tolvane {

class StretchProgress {
 public:
  /// `reading` outlives it.
  explicit StretchProgress(ReadingProgress& reading) : reading_(&reading) {}

  /// Nothing of it reported yet.
  [[nodiscard]] StretchProgress part() const { return StretchProgress(*reading_); }
  /// Counts what a part has reported as reported.
  void add(const StretchProgress& part) { reported_ += part.reported_; }

  /// The first `frames` of the stretch are decoded.
  void reach(std::uint64_t frames) {
    if (frames <= reported_) return;
    reading_->advance(frames - reported_);
    reported_ = frames;
  }

  [[nodiscard]] bool isCancelled() const { return reading_->isCancelled(); }

 private:
  ReadingProgress* reading_;
  std::uint64_t reported_ = 0;  ///< frames
};

/// Decodes a stretch from its start, with the result of one call of `decoder.decode(destination)`, in pieces of about a
/// millisecond of work or one block of FLAC. Reports each piece. Fails with userCanceledErr before the next one when
/// the reading has been cancelled. REQUIRES: whole frames of `bytesPerFrame`.
[[nodiscard]] std::expected<std::uint64_t, OSStatus> decodeStretch(TrackDecoder& decoder,
                                                                   std::span<std::byte> destination,
                                                                   std::uint64_t bytesPerFrame,
                                                                   StretchProgress& progress);

}  // namespace tolvane
