#include "engine/TrackPreparation.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

#include "platform/simulated/SimulatedAudioFileServices.h"

namespace tolvane {
namespace {

using testing::ElementsAre;

const FileURL wav("/music/song.wav");
const FileURL flac("/music/song.flac");

constexpr auto packed24 = linearPCM(44100, 2, 24, 3, kAudioFormatFlagIsSignedInteger);

std::vector<std::byte> countedBytes(std::size_t size) {
  std::vector<std::byte> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::byte>(i * 31 + 7);
  return bytes;
}

SimulatedPCMFile pcmFile(std::size_t bytes = 600) {
  SimulatedPCMFile file;
  file.format = packed24;
  file.data = countedBytes(bytes);
  return file;
}

AudioStreamBasicDescription compressedFormat(double rate, std::uint32_t channels, std::uint32_t bits) {
  return {rate, fourCharCode("flac"), 0, 0, 4096, 0, channels, bits, 0};
}

SimulatedCompressedFile compressedFile(std::size_t frames = 100) {
  SimulatedCompressedFile file;
  file.format = compressedFormat(44100, 2, 24);
  file.sourceBitDepth = 24;
  for (std::size_t i = 0; i < frames * 2; ++i) file.samples.push_back(static_cast<float>(i) / 1024);
  return file;
}

class TrackPreparationTest : public testing::Test {
 protected:
  ~TrackPreparationTest() override { EXPECT_EQ(files.openFileCount(), 0) << "every file is closed"; }

  template <typename File>
  Result<PreparedAudio> prepare(const FileURL& url, File file) {
    files.add(url, std::move(file));
    return preparation.prepare(url);
  }
  template <typename File>
  std::string errorOf(const FileURL& url, File file) {
    const auto prepared = prepare(url, std::move(file));
    return prepared ? "no error" : prepared.error().errorDescription();
  }

  SimulatedAudioFileServices files;
  std::shared_ptr<AtomicOutputLevels> levels = std::make_shared<AtomicOutputLevels>();
  TrackPreparation preparation{files, levels};
};

// Which way in.

TEST_F(TrackPreparationTest, DecodesByExtensionWhateverItsCase) {
  const struct {
    const char* path;
    const char* label;
    bool isLossless;
  } rows[] = {{"/song.FLAC", "FLAC", true}, {"/song.mp3", "MP3", false}, {"/a.b/song.Mp3", "MP3", false}};
  for (const auto& row : rows) {
    const auto prepared = prepare(FileURL(row.path), compressedFile());
    ASSERT_TRUE(prepared) << row.path;
    EXPECT_EQ(prepared->sourceLabel, row.label);
    EXPECT_EQ(prepared->isLossless, row.isLossless);
    EXPECT_EQ(prepared->context->format(), float32PCM(44100, 2));
  }
}

TEST_F(TrackPreparationTest, ReadsEverythingElseAsPCM) {
  for (const auto& [path, label] :
       {std::pair{"/song.wav", "WAV"}, {"/song.Aiff", "AIFF"}, {"/song.aif", "AIF"}, {"/song", ""}, {"/song.", ""}}) {
    const auto prepared = prepare(FileURL(path), pcmFile());
    ASSERT_TRUE(prepared) << path;
    EXPECT_EQ(prepared->sourceLabel, label);
    EXPECT_TRUE(prepared->isLossless);
  }
}

TEST_F(TrackPreparationTest, DoesNotSniff) {
  EXPECT_EQ(errorOf(FileURL("/song.m4a"), compressedFile()), "This PCM layout is not supported for direct playback.");
}

// PCM.

TEST_F(TrackPreparationTest, KeepsPCMByteForByteInItsOwnFormat) {
  const auto prepared = prepare(wav, pcmFile(600));
  ASSERT_TRUE(prepared);
  const AudioRenderContext& context = *prepared->context;
  EXPECT_TRUE(std::ranges::equal(context.buffer().bytes(), countedBytes(600)));
  EXPECT_EQ(context.format(), packed24);
  EXPECT_EQ(context.byteCount(), 600);
  EXPECT_EQ(context.totalFrames(), 100);
  EXPECT_EQ(context.currentFrame(), 0);
  EXPECT_FALSE(context.didReachEnd());
  EXPECT_EQ(context.outputLevels(), levels);
  EXPECT_TRUE(context.levelProcessor());
}

TEST_F(TrackPreparationTest, KeepsATrailingPartialFrameInTheBlockButDoesNotCountIt) {
  const auto prepared = prepare(wav, pcmFile(605));
  ASSERT_TRUE(prepared);
  EXPECT_EQ(prepared->context->byteCount(), 605);
  EXPECT_EQ(prepared->context->totalFrames(), 100);
}

TEST_F(TrackPreparationTest, CutsTheBlockToTheWholeFramesOfAFileThatShrank) {
  auto file = pcmFile(600);
  file.mostBytesARead = 303;
  const auto prepared = prepare(wav, file);
  ASSERT_TRUE(prepared);
  EXPECT_EQ(prepared->context->byteCount(), 300);
  EXPECT_EQ(prepared->context->totalFrames(), 50);
  EXPECT_TRUE(std::ranges::equal(prepared->context->buffer().bytes(), countedBytes(300)));
}

TEST_F(TrackPreparationTest, SaysWhichStepOfReadingPCMFailed) {
  const std::pair<OSStatus SimulatedPCMFile::*, const char*> rows[] = {
      {&SimulatedPCMFile::openStatus, "Opening the PCM file failed (Core Audio -43)."},
      {&SimulatedPCMFile::formatStatus, "Reading the PCM format failed (Core Audio -43)."},
      {&SimulatedPCMFile::byteCountStatus, "Reading the PCM data size failed (Core Audio -43)."},
      {&SimulatedPCMFile::readStatus, "Reading PCM samples failed (Core Audio -43)."}};
  for (const auto& [step, sentence] : rows) {
    auto file = pcmFile();
    file.*step = -43;
    EXPECT_EQ(errorOf(wav, file), sentence);
  }
  auto file = pcmFile();
  file.opensAsNull = true;
  EXPECT_EQ(errorOf(wav, file), "The PCM file could not be opened.");
  EXPECT_EQ(preparation.prepare(FileURL("/gone.wav")).error().errorDescription(),
            "Opening the PCM file failed (Core Audio -43).");
}

TEST_F(TrackPreparationTest, RefusesLayoutsItCannotPlay) {
  const std::pair<const char*, std::function<void(AudioStreamBasicDescription&)>> rows[] = {
      {"not linear PCM", [](auto& f) { f.mFormatID = fourCharCode("alac"); }},
      {"no rate", [](auto& f) { f.mSampleRate = 0; }},
      {"a negative rate", [](auto& f) { f.mSampleRate = -44100; }},
      {"no channels", [](auto& f) { f.mChannelsPerFrame = 0; }},
      {"no bytes", [](auto& f) { f.mBytesPerFrame = 0; }},
      {"non-interleaved", [](auto& f) { f.mFormatFlags |= kAudioFormatFlagIsNonInterleaved; }},
      {"samples of a fraction of a byte", [](auto& f) { f.mBytesPerFrame = 7; }},
      {"more bits than bytes", [](auto& f) { f.mBitsPerChannel = 25; }},
      {"no bits", [](auto& f) { f.mBitsPerChannel = 0; }},
      {"a float of 24 bits", [](auto& f) { f.mFormatFlags = kAudioFormatFlagIsFloat; }}};
  for (const auto& [name, change] : rows) {
    auto file = pcmFile();
    change(file.format);
    EXPECT_EQ(errorOf(wav, file), "This PCM layout is not supported for direct playback.") << name;
  }
}

TEST_F(TrackPreparationTest, HoldsPCMToItsLimits) {
  EXPECT_EQ(errorOf(wav, pcmFile(0)), "The PCM track exceeds the in-memory playback limit.");
  EXPECT_EQ(errorOf(wav, pcmFile(5)), "The PCM file contains no complete audio frames.");
  auto file = pcmFile();
  file.announcedByteCount = 4294967296;
  EXPECT_EQ(errorOf(wav, file), "The PCM track exceeds the in-memory playback limit.");
  // One byte less is legal, as the complaint of the next step shows, which reads nothing of the gigabytes.
  file.announcedByteCount = 4294967295;
  file.readStatus = -43;
  EXPECT_EQ(errorOf(wav, file), "Reading PCM samples failed (Core Audio -43).");
  file.readStatus = noErr;
  file.announcedByteCount = 600;
  file.mostBytesARead = 5;
  EXPECT_EQ(errorOf(wav, file), "The PCM file contains no complete audio frames.");
}

TEST_F(TrackPreparationTest, RefusesATrackForWhichThereIsNoMemory) {
  files.setAvailableMemory(599);
  EXPECT_EQ(errorOf(wav, pcmFile(600)), "The PCM track exceeds the in-memory playback limit.");
  files.setAvailableMemory(600);
  EXPECT_EQ(errorOf(wav, pcmFile(600)), "no error");
  files.setAvailableMemory(799);
  EXPECT_EQ(errorOf(flac, compressedFile(100)), "The decoded track exceeds the in-memory playback limit.");
  files.setAvailableMemory(800);
  EXPECT_EQ(errorOf(flac, compressedFile(100)), "no error");
}

TEST_F(TrackPreparationTest, TakesThePCMBitDepthFromTheFileThenFromTheFormat) {
  const struct {
    std::int32_t property;
    OSStatus status;
    SourceFormatInfo expected;
  } rows[] = {{-32, noErr, {32, true}}, {20, noErr, {20, false}}, {0, noErr, {24, false}}, {20, -50, {24, false}}};
  for (const auto& row : rows) {
    auto file = pcmFile();
    file.sourceBitDepth = row.property;
    file.bitDepthStatus = row.status;
    const auto prepared = prepare(wav, file);
    ASSERT_TRUE(prepared);
    EXPECT_EQ((SourceFormatInfo{prepared->sourceBitDepth, prepared->sourceIsFloat}), row.expected) << row.property;
  }
}

// Decoding.

TEST_F(TrackPreparationTest, DecodesToFloatInOneBlock) {
  const auto prepared = prepare(flac, compressedFile(100));
  ASSERT_TRUE(prepared);
  EXPECT_EQ(prepared->context->totalFrames(), 100);
  EXPECT_EQ(prepared->context->byteCount(), 800);
  EXPECT_EQ(prepared->sourceBitDepth, 24U);
  EXPECT_FALSE(prepared->sourceIsFloat);
  float last = 0;
  std::memcpy(&last, prepared->context->buffer().data() + 796, 4);
  EXPECT_EQ(last, 199.0F / 1024);
}

TEST_F(TrackPreparationTest, CutsTheBlockToWhatTheDecoderDelivered) {
  auto file = compressedFile(70);
  file.announcedFrames = 100;
  const auto prepared = prepare(flac, file);
  ASSERT_TRUE(prepared);
  EXPECT_EQ(prepared->context->totalFrames(), 70);
  EXPECT_EQ(prepared->context->byteCount(), 560);
}

TEST_F(TrackPreparationTest, SaysWhichStepOfDecodingFailed) {
  const std::pair<OSStatus SimulatedCompressedFile::*, const char*> rows[] = {
      {&SimulatedCompressedFile::openStatus, "Opening FLAC failed (Core Audio -43)."},
      {&SimulatedCompressedFile::formatStatus, "Reading the source format failed (Core Audio -43)."},
      {&SimulatedCompressedFile::clientFormatStatus, "Configuring the PCM decoder failed (Core Audio -43)."},
      {&SimulatedCompressedFile::lengthStatus, "Reading the track length failed (Core Audio -43)."},
      {&SimulatedCompressedFile::readStatus, "Decoding the track failed (Core Audio -43)."}};
  for (const auto& [step, sentence] : rows) {
    auto file = compressedFile();
    file.*step = -43;
    EXPECT_EQ(errorOf(flac, file), sentence);
  }
  auto file = compressedFile();
  file.opensAsNull = true;
  EXPECT_EQ(errorOf(flac, file), "The audio decoder could not be created.");
  EXPECT_EQ(preparation.prepare(FileURL("/gone.mp3")).error().errorDescription(),
            "Opening MP3 failed (Core Audio -43).");
}

TEST_F(TrackPreparationTest, RefusesACompressedFileWithoutRateOrChannels) {
  for (const auto& format : {compressedFormat(0, 2, 16), compressedFormat(44100, 0, 16)}) {
    auto file = compressedFile();
    file.format = format;
    EXPECT_EQ(errorOf(FileURL("/song.mp3"), file), "The file has an invalid PCM format.");
  }
}

TEST_F(TrackPreparationTest, HoldsDecodedTracksToTheirLimits) {
  const struct {
    std::int64_t frames;
    std::uint32_t channels;
    const char* sentence;
  } rows[] = {{0, 2, "The track is too large to decode safely."},
              {-1, 2, "The track is too large to decode safely."},
              {4294967296, 2, "The track is too large to decode safely."},
              {std::numeric_limits<std::int64_t>::max(), 2, "The track is too large to decode safely."},
              {4294967295, 2, "The decoded track exceeds the in-memory playback limit."},
              {536870912, 2, "The decoded track exceeds the in-memory playback limit."},
              {1073741824, 1, "The decoded track exceeds the in-memory playback limit."}};
  for (const auto& row : rows) {
    auto file = compressedFile();
    file.format.mChannelsPerFrame = row.channels;
    file.announcedFrames = row.frames;
    EXPECT_EQ(errorOf(flac, file), row.sentence) << row.frames;
  }
}

TEST_F(TrackPreparationTest, RefusesATrackOfWhichNothingCouldBeDecoded) {
  auto file = compressedFile(0);
  file.announcedFrames = 100;
  EXPECT_EQ(errorOf(flac, file), "The decoder returned an empty track.");
}

TEST_F(TrackPreparationTest, TakesTheDecodedBitDepthFromTheFileThenFromTheFormat) {
  const struct {
    std::int32_t property;
    OSStatus status;
    bool hasAudioFile;
    SourceFormatInfo expected;
  } rows[] = {{-32, noErr, true, {32, true}},
              {16, noErr, true, {16, false}},
              {0, noErr, true, {24, false}},
              {16, -50, true, {24, false}},
              {16, noErr, false, {24, false}}};
  for (const auto& row : rows) {
    auto file = compressedFile();
    file.sourceBitDepth = row.property;
    file.bitDepthStatus = row.status;
    file.hasAudioFile = row.hasAudioFile;
    const auto prepared = prepare(flac, file);
    ASSERT_TRUE(prepared);
    EXPECT_EQ((SourceFormatInfo{prepared->sourceBitDepth, prepared->sourceIsFloat}), row.expected);
  }
}

// What is known besides.

TEST_F(TrackPreparationTest, FailsWithWhatTheFileIs) {
  const FileFinding finding{.place = FilePlace::file, .content = FileContent::mp3};
  for (const FileURL& url : {wav, flac, FileURL("/music/song.m4a")}) {
    files.setFinding(url, finding);
    const auto prepared = preparation.prepare(url);
    ASSERT_FALSE(prepared);
    EXPECT_EQ(prepared.error().context().file, finding);
  }
  EXPECT_EQ(preparation.prepare(wav).error().context().expectedFormat, "WAV");
  EXPECT_EQ(preparation.prepare(flac).error().context().expectedFormat, "FLAC");
  EXPECT_EQ(preparation.prepare(FileURL("/music/song.m4a")).error().context().expectedFormat, "");
}

TEST_F(TrackPreparationTest, LooksAtNoFileOnceItIsCancelled) {
  int examined = 0;
  files.setReadGate([&](const FileURL&, std::string_view call) { examined += call == "examine" ? 1 : 0; });
  ReadingProgress progress;
  progress.cancel();
  EXPECT_FALSE(preparation.prepare(wav, progress));
  EXPECT_EQ(examined, 0);
  EXPECT_FALSE(preparation.prepare(wav));
  EXPECT_EQ(examined, 1);
}

TEST_F(TrackPreparationTest, KnowsWhereATrackIsCutOff) {
  auto pcm = pcmFile(44100 * 6);
  EXPECT_EQ(prepare(wav, pcm)->cut, std::nullopt) << "nothing is stated";
  pcm.wholeByteCount = 44100 * 6 + 5;
  EXPECT_EQ(prepare(wav, pcm)->cut, std::nullopt) << "no whole frame is missing";
  pcm.wholeByteCount = 44100 * 6 * 3;
  EXPECT_EQ(prepare(wav, pcm)->cut, (TrackCut{1, 3}));

  auto compressed = compressedFile(44100);
  EXPECT_EQ(prepare(flac, compressed)->cut, std::nullopt);
  compressed.wholeFrames = 44100;
  EXPECT_EQ(prepare(flac, compressed)->cut, std::nullopt);
  compressed.wholeFrames = 44100 * 4;
  EXPECT_EQ(prepare(flac, compressed)->cut, (TrackCut{1, 4}));
  compressed.wholeFrames = 22050;
  EXPECT_EQ(prepare(flac, compressed)->cut, std::nullopt) << "more than stated is not less";
}

TEST_F(TrackPreparationTest, KnowsHowMuchIsMissingOfAFileWithoutMusic) {
  auto pcm = pcmFile(0);
  pcm.wholeByteCount = 44100 * 6;
  EXPECT_EQ(prepare(wav, pcm).error().context().cut, (TrackCut{0, 1}));
  pcm.data = countedBytes(5);
  EXPECT_EQ(prepare(wav, pcm).error().context().cut, (TrackCut{0, 1}));
  pcm.wholeByteCount.reset();
  EXPECT_EQ(prepare(wav, pcm).error().context().cut, std::nullopt);
  auto compressed = compressedFile(0);
  compressed.announcedFrames = 44100;
  compressed.wholeFrames = 44100;
  EXPECT_EQ(prepare(flac, compressed).error().context().cut, (TrackCut{0, 1}));
}

}  // namespace
}  // namespace tolvane
