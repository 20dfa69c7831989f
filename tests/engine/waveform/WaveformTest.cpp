#include "engine/waveform/Waveform.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/simulated/SimulatedAudioFileServices.h"

namespace tolvane {
namespace {

using testing::DoubleNear;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class Waveforms : public testing::Test {
 protected:
  const FileURL wav{"/music/a.wav"};
  const FileURL flac{"/music/a.flac"};

  /// A mono file of 32-bit float samples.
  SimulatedPCMFile& addMono(std::vector<float> samples, double rate = 44100) {
    file.format = linearPCM(rate, 1, 32, 4, kAudioFormatFlagIsFloat);
    file.data.resize(samples.size() * sizeof(float));
    if (!samples.empty()) std::memcpy(file.data.data(), samples.data(), file.data.size());
    files.add(wav, file);
    return file;
  }

  [[nodiscard]] std::optional<Result<Waveform>> extract(const FileURL& url, std::int64_t maxSamples = 500) {
    return makeWaveformData(files, url, maxSamples, stop.get_token());
  }

  [[nodiscard]] Waveform waveform(const FileURL& url, std::int64_t maxSamples = 500) {
    const auto result = extract(url, maxSamples);
    EXPECT_TRUE(result && *result);
    return result && *result ? **result : Waveform{};
  }

  SimulatedAudioFileServices files;
  SimulatedPCMFile file;
  std::stop_source stop;
};

TEST_F(Waveforms, HaveABucketAFrameForAShortFile) {
  addMono(std::vector<float>(100, 0.5F));
  EXPECT_THAT(waveform(wav).samples, SizeIs(100));
  EXPECT_THAT(waveform(wav).samples, Each(0.5));
  EXPECT_DOUBLE_EQ(waveform(wav).duration, 100 / 44100.0);
}

TEST_F(Waveforms, OfFilesWithThousandsOfChannelsTakeLittleMemory) {
  file.format = linearPCM(44100, 8000, 64, 8, kAudioFormatFlagIsFloat);
  file.data.resize(64000 * 300);
  file.largestRead = std::make_shared<std::uint64_t>(0);
  files.add(wav, file);
  EXPECT_THAT(waveform(wav).samples, SizeIs(300));
  EXPECT_GT(*file.largestRead, 0U);
  EXPECT_LE(*file.largestRead, 8U * 1024 * 1024);
}

TEST_F(Waveforms, AverageTheLastBucketOverTheFramesThatItHolds) {
  // 2,001 frames a bucket; the last holds 1,502.
  addMono(std::vector<float>(1'000'001, 0.25F));
  EXPECT_THAT(waveform(wav).samples, SizeIs(500));
  EXPECT_THAT(waveform(wav).samples, Each(DoubleNear(0.25, 1e-6)));
}

TEST_F(Waveforms, AreTheRootOfTheMeanSquare) {
  addMono({0.6F, -0.8F, 0, 0, 1, -1});
  EXPECT_THAT(waveform(wav, 3).samples,
              ElementsAre(DoubleNear(std::sqrt(0.5), 1e-6), DoubleNear(0, 1e-6), DoubleNear(1, 1e-6)));
}

TEST_F(Waveforms, AverageTheChannelsPowers) {
  addMono({1, 0, 1, 0});
  file.format = linearPCM(44100, 2, 32, 4, kAudioFormatFlagIsFloat);
  files.add(wav, file);
  EXPECT_THAT(waveform(wav).samples, Each(DoubleNear(std::sqrt(0.5), 1e-9)));
}

TEST_F(Waveforms, ReadBucketsThatCrossTheirChunks) {
  // Three buckets of 50,000 frames; the file is read 65,536 frames at a time.
  std::vector<float> samples(150'000, 0.1F);
  std::fill(samples.begin() + 50'000, samples.begin() + 100'000, 0.7F);
  addMono(samples);
  EXPECT_THAT(waveform(wav, 3).samples,
              ElementsAre(DoubleNear(0.1, 1e-4), DoubleNear(0.7, 1e-4), DoubleNear(0.1, 1e-4)));
}

TEST_F(Waveforms, OfSilenceAreZero) {
  addMono(std::vector<float>(1000, 0));
  EXPECT_THAT(waveform(wav).samples, Each(0.0));
}

TEST_F(Waveforms, OfAnEmptyFileOrInNoBucketsAreEmpty) {
  addMono({});
  EXPECT_EQ(waveform(wav), Waveform{});
  addMono({1, 1});
  EXPECT_EQ(waveform(wav, 0), Waveform{});
  EXPECT_EQ(waveform(wav, -1), Waveform{});
}

TEST_F(Waveforms, WithoutARateHaveNoDuration) {
  addMono({1, 1}, 0);
  EXPECT_THAT(waveform(wav).samples, SizeIs(2));
  EXPECT_EQ(waveform(wav).duration, 0);
}

TEST_F(Waveforms, KeepWhatWasReadOfAFileThatIsShorterThanAnnounced) {
  addMono(std::vector<float>(10, 1)).announcedByteCount = 20 * sizeof(float);
  files.add(wav, file);
  const auto samples = waveform(wav, 4).samples;  // of five frames each
  EXPECT_THAT(samples, ElementsAre(1, 1, 0, 0));
}

TEST_F(Waveforms, OfDecodedFilesAreThoseOfTheirSamples) {
  SimulatedCompressedFile encoded;
  encoded.format.mSampleRate = 48000;
  encoded.format.mChannelsPerFrame = 2;
  encoded.samples = std::vector<float>(96000, 0.5F);
  encoded.mostFramesARead = 1000;
  files.add(flac, encoded);
  EXPECT_THAT(waveform(flac).samples, SizeIs(500));
  EXPECT_THAT(waveform(flac).samples, Each(DoubleNear(0.5, 1e-6)));
  EXPECT_EQ(waveform(flac).duration, 1);
}

struct Layout {
  const char* name;
  AudioStreamBasicDescription format;
  std::vector<int> halfScale;  ///< the bytes of a sample of one half
};

class SampleLayouts : public Waveforms, public testing::WithParamInterface<Layout> {};

TEST_P(SampleLayouts, AreReadInTheirOwnScale) {
  file.format = GetParam().format;
  for (int i = 0; i < 4; ++i)
    for (const int byte : GetParam().halfScale) file.data.push_back(static_cast<std::byte>(byte));
  files.add(wav, file);
  EXPECT_THAT(waveform(wav).samples, Each(0.5));
}

constexpr auto isSigned = kAudioFormatFlagIsSignedInteger;
constexpr auto bigEndian = kAudioFormatFlagIsBigEndian;
constexpr auto isFloat = kAudioFormatFlagIsFloat;
constexpr auto high = kAudioFormatFlagIsAlignedHigh;

INSTANTIATE_TEST_SUITE_P(
    All, SampleLayouts,
    testing::Values(Layout{"unsigned8", linearPCM(8000, 1, 8, 1, 0), {0xC0}},
                    Layout{"signed8", linearPCM(8000, 1, 8, 1, isSigned), {0x40}},
                    Layout{"signed8Negative", linearPCM(8000, 1, 8, 1, isSigned), {0xC0}},
                    Layout{"signed16", linearPCM(8000, 1, 16, 2, isSigned), {0x00, 0x40}},
                    Layout{"signed16Big", linearPCM(8000, 1, 16, 2, isSigned | bigEndian), {0x40, 0x00}},
                    Layout{"signed16Negative", linearPCM(8000, 1, 16, 2, isSigned), {0x00, 0xC0}},
                    Layout{"signed24", linearPCM(8000, 1, 24, 3, isSigned), {0x00, 0x00, 0x40}},
                    Layout{"signed24Big", linearPCM(8000, 1, 24, 3, isSigned | bigEndian), {0x40, 0x00, 0x00}},
                    Layout{"signed20High", linearPCM(8000, 1, 20, 3, isSigned | high), {0x0F, 0x00, 0x40}},
                    Layout{"signed24In32", linearPCM(8000, 1, 24, 4, isSigned), {0x00, 0x00, 0x40, 0x00}},
                    Layout{"signed32", linearPCM(8000, 1, 32, 4, isSigned), {0x00, 0x00, 0x00, 0x40}},
                    Layout{"float32Big", linearPCM(8000, 1, 32, 4, isFloat | bigEndian), {0x3F, 0x00, 0x00, 0x00}},
                    Layout{"float64", linearPCM(8000, 1, 64, 8, isFloat), {0, 0, 0, 0, 0, 0, 0xE0, 0x3F}}),
    [](const auto& layout) { return std::string(layout.param.name); });

TEST_F(Waveforms, SayWhatIsWrongWithAFile) {
  const auto error = [&](const FileURL& url) {
    const auto result = extract(url);
    return result && !*result ? result->error().errorDescription() : "no error";
  };
  EXPECT_EQ(error(FileURL("/none.wav")), "Opening the audio file failed (Core Audio -43).");
  EXPECT_EQ(error(FileURL("/none.mp3")), "Opening the audio file failed (Core Audio -43).");
  addMono(std::vector<float>(100, 1)).readStatus = kAudioFileIOError;
  files.add(wav, file);
  EXPECT_EQ(error(wav), "Reading the audio file failed (Core Audio -36).");
  file.format.mFormatID = fourCharCode("ulaw");
  files.add(wav, file);
  EXPECT_EQ(error(wav), "This PCM layout is not supported.");
  file = {};
  file.opensAsNull = true;
  files.add(wav, file);
  EXPECT_EQ(error(wav), "The audio file could not be opened.");
  EXPECT_EQ(files.openFileCount(), 0);
}

TEST_F(Waveforms, EndWithoutAResultWhenTheyAreNotWantedAnyMore) {
  addMono(std::vector<float>(100, 1));
  stop.request_stop();
  EXPECT_FALSE(extract(wav).has_value());
  EXPECT_EQ(files.openFileCount(), 0);
}

}  // namespace
}  // namespace tolvane
