// What a recording of a card shows of the track that it was to play: each kind of difference must be found, at its
// frame.

#include "tools/CaptureComparison.h"

#include <gmock/gmock.h>

#include "engine/TrackPreparation.h"
#include "platform/simulated/SimulatedAudioFileServices.h"

namespace tolvane {
namespace {

using Result = CaptureComparison::Result;

constexpr std::int64_t totalFrames = 3000;
constexpr std::size_t frameBytes = 4;

class CaptureOfATrack : public testing::Test {
 protected:
  CaptureOfATrack() {
    SimulatedPCMFile file;
    file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    // The first frames are silent, as those of most tracks are.
    for (std::int64_t frame = 0; frame < totalFrames; ++frame) {
      const auto left = static_cast<std::int16_t>(frame < 100 ? 0 : frame);
      const auto right = static_cast<std::int16_t>(frame < 100 ? 0 : -frame);
      for (const std::int16_t sample : {left, right})
        for (const unsigned shift : {0U, 8U})
          samples.push_back(static_cast<std::byte>(static_cast<unsigned>(sample) >> shift));
    }
    file.data = samples;
    files.add(FileURL("/a.wav"), std::move(file));
    track = TrackPreparation(files, std::make_shared<AtomicOutputLevels>()).prepare(FileURL("/a.wav")).value();
    recorded.form = {linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger), {}};
  }

  /// The recording: silence, these bytes, silence.
  CaptureComparison compare(const std::vector<std::byte>& heard) {
    recorded.bytes.assign(500 * frameBytes, std::byte{});
    recorded.bytes.insert(recorded.bytes.end(), heard.begin(), heard.end());
    recorded.bytes.insert(recorded.bytes.end(), 700 * frameBytes, std::byte{});
    return compareCapture(track, recorded);
  }

  SimulatedAudioFileServices files;
  std::vector<std::byte> samples;
  PreparedAudio track;
  Recording::Frames recorded;
};

TEST_F(CaptureOfATrack, IsFoundWhereverItBegins) {
  const auto found = compare(samples);
  EXPECT_EQ(found.result, Result::matches);
  EXPECT_EQ(found.frames, totalFrames);
  EXPECT_EQ(found.detail, "All 3,000 frames were recorded as they are in the file.");
}

TEST_F(CaptureOfATrack, ShowsAFlippedBit) {
  for (const std::size_t at : {std::size_t{100} * frameBytes, samples.size() / 2, samples.size() - 1}) {
    auto heard = samples;
    heard[at] ^= std::byte{1};
    const auto found = compare(heard);
    EXPECT_EQ(found.result, Result::differs);
    EXPECT_EQ(found.firstDifference, static_cast<std::int64_t>(at / frameBytes));
  }
}

TEST_F(CaptureOfATrack, ShowsAFrameThatIsLost) {
  auto heard = samples;
  heard.erase(heard.begin() + 2000 * frameBytes, heard.begin() + 2001 * frameBytes);
  const auto found = compare(heard);
  EXPECT_EQ(found.result, Result::differs);
  EXPECT_EQ(found.firstDifference, 2000);
}

TEST_F(CaptureOfATrack, ShowsAFrameThatIsRepeated) {
  auto heard = samples;
  heard.insert(heard.begin() + 2001 * frameBytes, heard.begin() + 2000 * frameBytes, heard.begin() + 2001 * frameBytes);
  EXPECT_EQ(compare(heard).firstDifference, 2001);
}

TEST_F(CaptureOfATrack, ShowsSwappedChannels) {
  auto heard = samples;
  for (std::size_t at = 0; at < heard.size(); at += frameBytes)
    std::swap_ranges(heard.begin() + static_cast<std::ptrdiff_t>(at),
                     heard.begin() + static_cast<std::ptrdiff_t>(at) + 2,
                     heard.begin() + static_cast<std::ptrdiff_t>(at) + 2);
  EXPECT_EQ(compare(heard).firstDifference, 100);
}

TEST_F(CaptureOfATrack, ShowsWhatIsHeardBehindItsEnd) {
  auto heard = samples;
  heard.insert(heard.end(), {std::byte{1}, std::byte{}, std::byte{}, std::byte{}});
  const auto found = compare(heard);
  EXPECT_EQ(found.result, Result::differs);
  EXPECT_EQ(found.firstDifference, totalFrames);
}

TEST_F(CaptureOfATrack, ShowsARecordingThatEndsTooEarly) {
  recorded.bytes.assign(samples.begin(), samples.end() - 10 * frameBytes);
  const auto found = compareCapture(track, recorded);
  EXPECT_EQ(found.result, Result::differs);
  EXPECT_EQ(found.frames, totalFrames - 10);
}

TEST_F(CaptureOfATrack, ShowsARecordingThatBeginsTooLate) {
  recorded.bytes.assign(samples.begin() + 40 * frameBytes, samples.end());
  EXPECT_EQ(compareCapture(track, recorded).result, Result::differs);
}

TEST_F(CaptureOfATrack, OfNothingButSilenceDiffers) { EXPECT_EQ(compare({}).result, Result::differs); }

TEST_F(CaptureOfATrack, WithAGapSaysNothing) {
  recorded.isWhole = false;
  EXPECT_EQ(compare(samples).result, Result::unknown);
}

TEST_F(CaptureOfATrack, InAWiderFormatIsTheSame) {
  recorded.form.format = linearPCM(44100, 2, 32, 4, kAudioFormatFlagIsSignedInteger);
  std::vector<std::byte> wide;
  for (std::size_t at = 0; at < samples.size(); at += 2)
    wide.insert(wide.end(), {std::byte{}, std::byte{}, samples[at], samples[at + 1]});
  recorded.bytes = wide;
  EXPECT_EQ(compareCapture(track, recorded).result, Result::matches);
  recorded.bytes[400 * 8] = std::byte{1};  // below the track's bits
  EXPECT_EQ(compareCapture(track, recorded).firstDifference, 400);
}

}  // namespace
}  // namespace tolvane
