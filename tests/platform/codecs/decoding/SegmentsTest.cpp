#include "platform/codecs/decoding/Segments.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <vector>

namespace tolvane::test {
namespace {

constexpr std::uint64_t kFrames = 50'000;
constexpr std::uint64_t kBytesPerFrame = sizeof(float);

/// A track of one channel whose frame k is the number k, with faults to order.
class CountingTrack final : public OverlappingTrack {
 public:
  std::uint64_t proof = 0;
  std::uint64_t end = kFrames;          ///< less than announced: a cut file
  std::uint64_t failsAt = kFrames;      ///< decoding this frame is an error
  std::uint64_t opensBefore = kFrames;  ///< no decoder can begin at or behind it
  float driftPerJump = 0;               ///< added by each decoder that does not begin at 0
  std::uint64_t silentBefore = 0;       ///< frames before it are silence
  std::uint64_t cancelsAt = kFrames;    ///< the reading is cancelled when this frame is decoded
  ReadingProgress* progress = nullptr;  ///< of the reading
  /// Frames decoded when the reading had been cancelled.
  mutable std::atomic<std::uint64_t> lateFrames = 0;

  [[nodiscard]] std::uint64_t proofFrames() const override { return proof; }
  [[nodiscard]] std::expected<std::unique_ptr<TrackDecoder>, OSStatus> decoderAt(std::uint64_t frame) const override {
    if (frame >= opensBefore) return std::unexpected(kAudioFileInvalidFileError);
    return std::make_unique<Decoder>(*this, frame);
  }

 private:
  class Decoder final : public TrackDecoder {
   public:
    Decoder(const CountingTrack& track, std::uint64_t frame)
        : track_(track), next_(frame), drift_(frame == 0 ? 0 : track.driftPerJump) {}

    [[nodiscard]] std::expected<std::uint64_t, OSStatus> decode(std::span<std::byte> destination) override {
      const std::uint64_t count =
          std::min(destination.size() / kBytesPerFrame, track_.end - std::min(next_, track_.end));
      for (std::uint64_t i = 0; i < count; ++i, ++next_) {
        if (next_ == track_.failsAt) return std::unexpected(kAudioFileInvalidFileError);
        if (next_ == track_.cancelsAt) track_.progress->cancel();
        if (track_.progress != nullptr && track_.progress->isCancelled()) ++track_.lateFrames;
        const float value = next_ < track_.silentBefore ? 0 : static_cast<float>(next_) + drift_;
        std::memcpy(destination.data() + i * kBytesPerFrame, &value, sizeof value);
      }
      return count;
    }

   private:
    const CountingTrack& track_;
    std::uint64_t next_;
    const float drift_;
  };
};

class SegmentsTest : public testing::Test {
 protected:
  SegmentsTest() { progress_.expect(4 * kFrames); }

  bool decode(const SegmentLimits& limits = {4, 1000}) {
    samples_.assign(kFrames, -1.0F);
    return decodeInSegments(track_, kBytesPerFrame, std::as_writable_bytes(std::span(samples_)), limits, whole_);
  }

  /// Frames that were reported; exact also where they are more than the track has.
  [[nodiscard]] std::uint64_t reported() const {
    return static_cast<std::uint64_t>(std::llround(progress_.fraction() * 4 * kFrames));
  }

  CountingTrack track_;
  std::vector<float> samples_;
  ReadingProgress progress_;
  StretchProgress whole_{progress_};
};

TEST_F(SegmentsTest, FillsEveryFrameInItsPlace) {
  ASSERT_TRUE(decode());
  for (std::size_t i = 0; i < samples_.size(); ++i) ASSERT_EQ(samples_[i], static_cast<float>(i));
}

TEST_F(SegmentsTest, LeavesShortReadsToASerialDecode) { EXPECT_FALSE(decode({4, kFrames})); }

TEST_F(SegmentsTest, LeavesAllToASerialDecodeWhenThereIsOneCore) { EXPECT_FALSE(decode({1, 1000})); }

TEST_F(SegmentsTest, FailsWhenTheTrackEndsEarly) {
  track_.end = kFrames - 1;
  EXPECT_FALSE(decode());
}

TEST_F(SegmentsTest, FailsWhenAnySegmentFails) {
  for (const std::uint64_t frame : {std::uint64_t{0}, kFrames / 2, kFrames - 1}) {
    track_.failsAt = frame;
    EXPECT_FALSE(decode());
  }
}

TEST_F(SegmentsTest, FailsWhenADecoderCannotBegin) {
  track_.opensBefore = kFrames / 2;
  EXPECT_FALSE(decode());
}

TEST_F(SegmentsTest, ProvesThatEverySegmentGoesOnFromTheOneBefore) {
  track_.proof = 900;
  EXPECT_TRUE(decode());
  track_.driftPerJump = 0.25F;
  EXPECT_FALSE(decode());
}

TEST_F(SegmentsTest, ReportsEveryFrameOnceAndNoProofs) {
  track_.proof = 900;
  ASSERT_TRUE(decode());
  EXPECT_EQ(reported(), kFrames);
}

TEST_F(SegmentsTest, ReportsNothingTwiceWhenASerialDecodeFollows) {
  track_.proof = 900;
  track_.driftPerJump = 0.25F;
  ASSERT_FALSE(decode());
  EXPECT_EQ(reported(), kFrames);
  const auto decoder = *track_.decoderAt(0);
  EXPECT_EQ(decodeStretch(*decoder, std::as_writable_bytes(std::span(samples_)), kBytesPerFrame, whole_), kFrames);
  EXPECT_EQ(reported(), kFrames);
}

TEST_F(SegmentsTest, GoesOnReportingWhereAFailedSegmentStopped) {
  track_.failsAt = kFrames / 2;
  ASSERT_FALSE(decode());
  const auto before = reported();
  EXPECT_LT(before, kFrames);
  track_.failsAt = kFrames;
  const auto decoder = *track_.decoderAt(0);
  EXPECT_EQ(decodeStretch(*decoder, std::as_writable_bytes(std::span(samples_)), kBytesPerFrame, whole_), kFrames);
  EXPECT_EQ(reported(), kFrames);
}

TEST_F(SegmentsTest, EndsWithThePieceInHandOfEachWorkerWhenCancelled) {
  constexpr std::uint64_t pieceFrames = 4096;
  for (const unsigned workers : {1U, 2U, 4U}) {
    for (const std::uint64_t frame : {std::uint64_t{0}, kFrames / 4 + 3, kFrames - 1}) {
      ReadingProgress progress;
      StretchProgress whole(progress);
      track_.progress = &progress;
      track_.cancelsAt = frame;
      track_.lateFrames = 0;
      samples_.assign(kFrames, -1.0F);
      const auto destination = std::as_writable_bytes(std::span(samples_));
      if (workers > 1) {
        // All was decoded when the last frame was the one that cancelled, and by then nothing was left to be done.
        const bool isDone = decodeInSegments(track_, kBytesPerFrame, destination, {workers, 10'000}, whole);
        EXPECT_TRUE(!isDone || frame == kFrames - 1);
      } else {
        const auto decoder = *track_.decoderAt(0);
        const auto frames = decodeStretch(*decoder, destination, kBytesPerFrame, whole);
        EXPECT_TRUE(frames == std::unexpected(userCanceledErr) || frame == kFrames - 1);
      }
      EXPECT_TRUE(progress.isCancelled());
      EXPECT_GT(track_.lateFrames, 0U);
      EXPECT_LE(track_.lateFrames, workers * pieceFrames) << workers << " threads, frame " << frame;
    }
  }
}

TEST_F(SegmentsTest, TakesSilenceForNoProof) {
  track_.proof = 900;
  track_.silentBefore = kFrames / 2;
  EXPECT_FALSE(decode());
}

}  // namespace
}  // namespace tolvane::test
