// Preparations that report how far they are, and end when they are cancelled.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <latch>
#include <string>
#include <thread>

#include "engine/TrackPreparation.h"
#include "platform/simulated/SimulatedAudioFileServices.h"

namespace tolvane {
namespace {

const FileURL pcmSong("/music/long.wav");
const FileURL flacSong("/music/long.flac");
constexpr const char* cancelledSentence = "Preparing the track was cancelled.";

constexpr std::size_t mebibyte = 1024 * 1024;
constexpr std::size_t pcmBytes = 5 * mebibyte + mebibyte / 2;  // divisible by a frame of four bytes
constexpr int pcmPieces = 6;
constexpr std::size_t compressedFrames = 1000;

SimulatedPCMFile longPCMFile() {
  SimulatedPCMFile file;
  file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  file.data.resize(pcmBytes);
  for (std::size_t i = 0; i < pcmBytes; ++i) file.data[i] = static_cast<std::byte>(i * 2654435761U >> 24U);
  return file;
}

SimulatedCompressedFile longCompressedFile() {
  SimulatedCompressedFile file;
  file.format = {44100, fourCharCode("flac"), 0, 0, 4096, 0, 2, 24, 0};
  for (std::size_t i = 0; i < compressedFrames * 2; ++i) file.samples.push_back(static_cast<float>(i) / 1024);
  return file;
}

class CancelledPreparation : public testing::Test {
 protected:
  CancelledPreparation() {
    files.add(pcmSong, longPCMFile());
    files.add(flacSong, longCompressedFile());
  }
  ~CancelledPreparation() override {
    EXPECT_EQ(files.openFileCount(), 0) << "every file is closed";
    EXPECT_EQ(levels.use_count(), 2) << "what was prepared is freed";
  }

  /// Counts the calls of this name, and does something at one of them.
  void at(int number, std::string call, std::function<void()> action) {
    calls = 0;
    files.setReadGate(
        [this, number, call = std::move(call), action = std::move(action)](const FileURL&, std::string_view name) {
          if (name == call && ++calls == number) action();
        });
  }

  SimulatedAudioFileServices files;
  std::shared_ptr<AtomicOutputLevels> levels = std::make_shared<AtomicOutputLevels>();
  TrackPreparation preparation{files, levels};
  int calls = 0;
};

TEST_F(CancelledPreparation, BeforeItBeganReadsNothing) {
  for (const FileURL& url : {pcmSong, flacSong}) {
    ReadingProgress progress;
    progress.cancel();
    const auto prepared = preparation.prepare(url, progress);
    ASSERT_FALSE(prepared);
    EXPECT_EQ(prepared.error().errorDescription(), cancelledSentence);
    EXPECT_EQ(progress.fraction(), 0);
  }
  EXPECT_EQ(files.openCount(), 0);
}

TEST_F(CancelledPreparation, AtAPieceOfPCMReadsNoFurtherOne) {
  for (int piece = 1; piece <= pcmPieces; ++piece) {
    ReadingProgress progress;
    at(piece, "readBytes", [&progress] { progress.cancel(); });
    const auto prepared = preparation.prepare(pcmSong, progress);
    ASSERT_FALSE(prepared) << "piece " << piece;
    EXPECT_EQ(prepared.error().errorDescription(), cancelledSentence);
    std::printf("cancelled at piece %d of %d: %d were begun, %.0f bytes came\n", piece, pcmPieces, calls,
                progress.fraction() * static_cast<double>(pcmBytes));
    EXPECT_EQ(calls, piece);
    EXPECT_DOUBLE_EQ(progress.fraction() * static_cast<double>(pcmBytes), static_cast<double>((piece - 1) * mebibyte));
  }
}

TEST_F(CancelledPreparation, WhileItsFileIsOpenedReadsNothing) {
  for (const auto& [url, open, read] :
       {std::tuple{pcmSong, "openAudioFile", "readBytes"}, {flacSong, "openExtAudioFile", "read"}}) {
    ReadingProgress progress;
    int reads = 0;
    files.setReadGate(
        [&, opening = std::string_view(open), reading = std::string_view(read)](const FileURL&, std::string_view name) {
          if (name == opening) progress.cancel();
          if (name == reading) ++reads;
        });
    const auto prepared = preparation.prepare(url, progress);
    ASSERT_FALSE(prepared) << open;
    EXPECT_EQ(prepared.error().errorDescription(), cancelledSentence);
    EXPECT_EQ(reads, 0) << open;
  }
}

TEST_F(CancelledPreparation, WhileItDecodesFails) {
  ReadingProgress progress;
  at(1, "read", [&progress] { progress.cancel(); });
  const auto prepared = preparation.prepare(flacSong, progress);
  ASSERT_FALSE(prepared);
  EXPECT_EQ(prepared.error().errorDescription(), cancelledSentence);
  EXPECT_EQ(calls, 1);
}

/// Services that do not look at the progress.
class DeafServices final : public AudioFileServices {
 public:
  explicit DeafServices(AudioFileServices& files) : files_(files) {}

  [[nodiscard]] std::expected<std::unique_ptr<AudioFile>, OSStatus> openAudioFile(const FileURL& url,
                                                                                  ReadingProgress*) override {
    return files_.openAudioFile(url);
  }
  [[nodiscard]] std::expected<std::unique_ptr<ExtAudioFile>, OSStatus> openExtAudioFile(const FileURL& url,
                                                                                        ReadingProgress*) override {
    return files_.openExtAudioFile(url);
  }
  [[nodiscard]] std::optional<FileVersion> fileVersion(const FileURL& url) const override {
    return files_.fileVersion(url);
  }
  [[nodiscard]] FileFinding examine(const FileURL& url) const override { return files_.examine(url); }
  [[nodiscard]] std::uint64_t availableMemory() const override { return files_.availableMemory(); }

 private:
  AudioFileServices& files_;
};

TEST_F(CancelledPreparation, ThatWasCompleteByThenFailsAndFreesIt) {
  DeafServices services(files);
  {
    const TrackPreparation deaf(services, levels);
    for (const auto& [url, call] : {std::pair{pcmSong, "readBytes"}, {flacSong, "read"}}) {
      ReadingProgress progress;
      at(1, call, [&progress] { progress.cancel(); });
      const auto prepared = deaf.prepare(url, progress);
      ASSERT_FALSE(prepared) << call;
      EXPECT_EQ(prepared.error().errorDescription(), cancelledSentence);
      EXPECT_GT(calls, 0);
      EXPECT_EQ(levels.use_count(), 3) << "the context is gone";
    }
  }
}

TEST_F(CancelledPreparation, OnAWorkerLeavesTheOtherThreadFreeToWork) {
  ReadingProgress progress;
  std::latch reading(1);
  std::latch released(1);
  int pieces = 0;  // of the worker
  files.setReadGate([&](const FileURL& url, std::string_view call) {
    if (url != pcmSong || call != "readBytes" || ++pieces != 1) return;
    reading.count_down();
    released.wait();
  });
  std::optional<std::string> sentence;
  {
    const std::jthread worker([&, copy = preparation] {
      const auto prepared = copy.prepare(pcmSong, progress);
      sentence = prepared ? "no error" : prepared.error().errorDescription();
    });
    reading.wait();
    const FileURL other("/music/other.flac");
    files.add(other, longCompressedFile());
    EXPECT_TRUE(preparation.prepare(other));
    files.remove(other);
    progress.cancel();
    released.count_down();
  }
  EXPECT_EQ(sentence, cancelledSentence);
  EXPECT_EQ(pieces, 1);
}

TEST_F(CancelledPreparation, IsForOneTrackOnly) {
  ReadingProgress first;
  ReadingProgress second;
  Result<PreparedAudio> one = failure("not run");
  Result<PreparedAudio> two = failure("not run");
  std::latch both(2);
  files.setReadGate([&](const FileURL&, std::string_view call) {
    if (call == "openAudioFile" || call == "openExtAudioFile") both.arrive_and_wait();
    if (call == "read") second.cancel();
  });
  {
    const std::jthread worker([&] { one = preparation.prepare(pcmSong, first); });
    const std::jthread other([&] { two = preparation.prepare(flacSong, second); });
  }
  ASSERT_TRUE(one);
  EXPECT_FALSE(two);
  EXPECT_TRUE(std::ranges::equal(one->context->buffer().bytes(), longPCMFile().data));
}

// Progress.

TEST_F(CancelledPreparation, OfPCMReportsEveryPiece) {
  ReadingProgress progress;
  std::vector<double> fractions;
  files.setReadGate([&](const FileURL&, std::string_view) { fractions.push_back(progress.fraction()); });
  ASSERT_TRUE(preparation.prepare(pcmSong, progress));
  ASSERT_EQ(fractions.size(), 1U + pcmPieces) << "opening and the pieces";
  EXPECT_EQ(fractions[0], 0);
  for (std::size_t piece = 0; piece < pcmPieces; ++piece) {
    EXPECT_DOUBLE_EQ(fractions[piece + 1], static_cast<double>(piece * mebibyte) / static_cast<double>(pcmBytes));
  }
  EXPECT_EQ(progress.fraction(), 1);
}

TEST_F(CancelledPreparation, OfADecodedTrackIsOverAtOne) {
  ReadingProgress progress;
  at(1, "read", [&progress] { EXPECT_EQ(progress.fraction(), 0); });
  ASSERT_TRUE(preparation.prepare(flacSong, progress));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(progress.fraction(), 1);
}

TEST_F(CancelledPreparation, GivesTheSameWithAndWithoutProgress) {
  for (const FileURL& url : {pcmSong, flacSong}) {
    ReadingProgress progress;
    const auto with = preparation.prepare(url, progress);
    const auto without = preparation.prepare(url);
    ASSERT_TRUE(with && without);
    EXPECT_TRUE(std::ranges::equal(with->context->buffer().bytes(), without->context->buffer().bytes()));
    EXPECT_EQ(with->context->format(), without->context->format());
    EXPECT_EQ(with->context->totalFrames(), without->context->totalFrames());
  }
  const auto prepared = preparation.prepare(pcmSong);
  EXPECT_TRUE(std::ranges::equal(prepared->context->buffer().bytes(), longPCMFile().data));
}

}  // namespace
}  // namespace tolvane
