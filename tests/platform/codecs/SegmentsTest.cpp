#include "platform/codecs/Segments.h"

#include <gmock/gmock.h>

#include <algorithm>
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
  bool decode(const SegmentLimits& limits = {4, 1000}) {
    samples_.assign(kFrames, -1.0F);
    return decodeInSegments(track_, kBytesPerFrame, std::as_writable_bytes(std::span(samples_)), limits);
  }

  CountingTrack track_;
  std::vector<float> samples_;
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

TEST_F(SegmentsTest, TakesSilenceForNoProof) {
  track_.proof = 900;
  track_.silentBefore = kFrames / 2;
  EXPECT_FALSE(decode());
}

}  // namespace
}  // namespace tolvane::test
