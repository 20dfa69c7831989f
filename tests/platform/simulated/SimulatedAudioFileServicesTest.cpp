#include "platform/simulated/SimulatedAudioFileServices.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <latch>
#include <string>
#include <thread>

#include "tests/support/Printers.h"

namespace tolvane {
namespace {

using testing::ElementsAre;

const FileURL kSong("/music/song.wav");

std::vector<std::byte> bytes(std::initializer_list<int> values) {
  std::vector<std::byte> result;
  for (const int value : values) result.push_back(static_cast<std::byte>(value));
  return result;
}

SimulatedPCMFile pcmFile() {
  return {.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger),
          .data = bytes({1, 2, 3, 4, 5, 6, 7, 8}),
          .sourceBitDepth = 16};
}

SimulatedCompressedFile compressedFile() {
  return {.format = {.mSampleRate = 44100, .mFormatID = fourCharCode("flac"), .mChannelsPerFrame = 2},
          .samples = {0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F},
          .sourceBitDepth = 24};
}

class SimulatedAudioFileServicesTest : public testing::Test {
 protected:
  /// Float samples of one read.
  static std::vector<float> samples(ExtAudioFile& file, std::uint32_t frames) {
    std::vector<float> buffer(std::size_t{frames} * 2);
    const auto count = file.read(frames, std::as_writable_bytes(std::span(buffer)));
    buffer.resize(count.value_or(0) * std::size_t{2});
    return buffer;
  }

  SimulatedAudioFileServices services_;
  std::array<std::byte, 16> buffer_{};
};

TEST_F(SimulatedAudioFileServicesTest, AFileThatWasNotAddedIsNotFound) {
  EXPECT_EQ(services_.openAudioFile(kSong).error(), kAudioFileFileNotFoundError);
  EXPECT_EQ(services_.openExtAudioFile(kSong).error(), kAudioFileFileNotFoundError);
}

TEST_F(SimulatedAudioFileServicesTest, AFileIsReadWhereAskedAndEndsWithFewerBytes) {
  services_.add(kSong, pcmFile());
  const auto file = std::move(*services_.openAudioFile(kSong));
  EXPECT_EQ(file->dataFormat(), pcmFile().format);
  EXPECT_EQ(file->audioDataByteCount(), 8U);
  EXPECT_EQ(file->sourceBitDepth(), 16);
  EXPECT_EQ(file->readBytes(6, buffer_), 2U);
  EXPECT_EQ(buffer_[0], std::byte{7});
  EXPECT_EQ(file->readBytes(8, buffer_), 0U);
  EXPECT_EQ(file->readBytes(1000, buffer_), 0U);
}

TEST_F(SimulatedAudioFileServicesTest, AFileMayAnnounceWhatItDoesNotHold) {
  auto script = pcmFile();
  script.announcedByteCount = 4000;
  script.mostBytesARead = 3;
  services_.add(kSong, script);
  const auto file = std::move(*services_.openAudioFile(kSong));
  EXPECT_EQ(file->audioDataByteCount(), 4000U);
  EXPECT_EQ(file->readBytes(0, buffer_), 3U);
  EXPECT_EQ(file->readBytes(6, buffer_), 2U);
}

TEST_F(SimulatedAudioFileServicesTest, EveryStepFailsWithItsStatus) {
  auto script = pcmFile();
  script.formatStatus = -1;
  script.byteCountStatus = -2;
  script.bitDepthStatus = -3;
  script.readStatus = -4;
  script.readFailsFrom = 4;
  services_.add(kSong, script);
  const auto file = std::move(*services_.openAudioFile(kSong));
  EXPECT_EQ(file->dataFormat(), std::unexpected(-1));
  EXPECT_EQ(file->audioDataByteCount(), std::unexpected(-2));
  EXPECT_EQ(file->sourceBitDepth(), std::unexpected(-3));
  EXPECT_EQ(file->readBytes(0, buffer_), 4U);
  EXPECT_EQ(file->readBytes(4, buffer_), std::unexpected(-4));
  script.openStatus = -5;
  services_.add(kSong, script);
  EXPECT_EQ(services_.openAudioFile(kSong).error(), -5);
}

TEST_F(SimulatedAudioFileServicesTest, AnOpenMaySucceedWithNothing) {
  services_.add(kSong, SimulatedPCMFile{.opensAsNull = true});
  EXPECT_EQ(*services_.openAudioFile(kSong), nullptr);
  services_.add(kSong, SimulatedCompressedFile{.opensAsNull = true});
  EXPECT_EQ(*services_.openExtAudioFile(kSong), nullptr);
}

TEST_F(SimulatedAudioFileServicesTest, ACompressedFileIsReadAsFloatFromItsBeginningToItsEnd) {
  services_.add(kSong, compressedFile());
  const auto file = std::move(*services_.openExtAudioFile(kSong));
  EXPECT_EQ(file->read(1, buffer_), std::unexpected(kAudio_ParamError)) << "before the client format is set";
  EXPECT_EQ(file->setClientDataFormat(float32PCM(48000, 2)), kAudioFileUnsupportedDataFormatError);
  EXPECT_EQ(file->setClientDataFormat(float32PCM(44100, 2)), noErr);
  EXPECT_EQ(file->fileLengthFrames(), 3);
  EXPECT_EQ(file->audioFile()->sourceBitDepth(), 24);
  EXPECT_THAT(samples(*file, 2), ElementsAre(0.1F, 0.2F, 0.3F, 0.4F));
  EXPECT_THAT(samples(*file, 2), ElementsAre(0.5F, 0.6F));
  EXPECT_THAT(samples(*file, 2), ElementsAre());
}

TEST_F(SimulatedAudioFileServicesTest, EveryStepOfACompressedFileFailsWithItsStatus) {
  auto script = compressedFile();
  script.formatStatus = -1;
  script.lengthStatus = -2;
  script.readStatus = -3;
  script.readFailsFrom = 1;
  script.hasAudioFile = false;
  services_.add(kSong, script);
  const auto file = std::move(*services_.openExtAudioFile(kSong));
  EXPECT_EQ(file->fileDataFormat(), std::unexpected(-1));
  EXPECT_EQ(file->fileLengthFrames(), std::unexpected(-2));
  EXPECT_EQ(file->audioFile(), nullptr);
  EXPECT_EQ(file->setClientDataFormat(float32PCM(44100, 2)), noErr);
  EXPECT_THAT(samples(*file, 2), ElementsAre(0.1F, 0.2F));
  EXPECT_EQ(file->read(1, buffer_), std::unexpected(-3));
  script.clientFormatStatus = -4;
  services_.add(kSong, script);
  EXPECT_EQ((*services_.openExtAudioFile(kSong))->setClientDataFormat(float32PCM(44100, 2)), -4);
}

TEST_F(SimulatedAudioFileServicesTest, AFileOfOneKindOpenedAsTheOther) {
  services_.add(kSong, compressedFile());
  EXPECT_EQ((*services_.openAudioFile(kSong))->dataFormat()->mFormatID, fourCharCode("flac"));
  services_.add(kSong, pcmFile());
  EXPECT_EQ(services_.openExtAudioFile(kSong).error(), kAudioFileUnsupportedFileTypeError);
}

TEST_F(SimulatedAudioFileServicesTest, EveryOpenAndReadGoesThroughTheGate) {
  std::vector<std::string> calls;
  const FileURL tune("/music/tune.flac");
  services_.add(kSong, pcmFile());
  services_.add(tune, compressedFile());
  const auto early = std::move(*services_.openAudioFile(kSong));
  services_.setReadGate([&calls](const FileURL& url, std::string_view call) {
    calls.push_back(std::string(call).append(" ").append(url.lastPathComponent()));
  });
  EXPECT_EQ(early->readBytes(0, buffer_), 8U);
  const auto file = std::move(*services_.openExtAudioFile(tune));
  EXPECT_EQ(file->setClientDataFormat(float32PCM(44100, 2)), noErr);
  EXPECT_THAT(samples(*file, 1), ElementsAre(0.1F, 0.2F));
  EXPECT_FALSE(services_.openAudioFile(FileURL("/gone.wav")));
  EXPECT_THAT(calls, ElementsAre("readBytes song.wav", "openExtAudioFile tune.flac", "read tune.flac",
                                 "openAudioFile gone.wav"));
  services_.setReadGate(nullptr);
  EXPECT_EQ(early->readBytes(0, buffer_), 8U);
  EXPECT_EQ(calls.size(), 4U);
}

TEST_F(SimulatedAudioFileServicesTest, ACancelledReadingFailsAtItsNextCall) {
  services_.add(kSong, pcmFile());
  const FileURL tune("/music/tune.flac");
  services_.add(tune, compressedFile());
  ReadingProgress progress;
  progress.expect(4);
  const auto linear = std::move(*services_.openAudioFile(kSong, &progress));
  const auto encoded = std::move(*services_.openExtAudioFile(tune, &progress));
  EXPECT_EQ(encoded->setClientDataFormat(float32PCM(44100, 2)), noErr);
  EXPECT_EQ(linear->readBytes(0, buffer_), 8U);
  EXPECT_EQ(progress.fraction(), 0) << "the caller counts the bytes that it reads";
  EXPECT_THAT(samples(*encoded, 2), ElementsAre(0.1F, 0.2F, 0.3F, 0.4F));
  EXPECT_EQ(progress.fraction(), 0.5);
  services_.setReadGate([&progress](const FileURL&, std::string_view) { progress.cancel(); });
  EXPECT_EQ(linear->readBytes(0, buffer_), std::unexpected(userCanceledErr));
  EXPECT_EQ(encoded->read(1, buffer_), std::unexpected(userCanceledErr));
  EXPECT_EQ(services_.openAudioFile(kSong, &progress).error(), userCanceledErr);
  EXPECT_EQ(services_.openExtAudioFile(tune, &progress).error(), userCanceledErr);
  EXPECT_EQ(services_.openFileCount(), 3) << "the compressed file and the one below it count each";
}

TEST_F(SimulatedAudioFileServicesTest, FilesMayBeAddedWhileAReadingHangs) {
  services_.add(kSong, pcmFile());
  std::latch hanging(1);
  std::latch released(1);
  services_.setReadGate([&](const FileURL& url, std::string_view) {
    if (url != kSong) return;
    hanging.count_down();
    released.wait();
  });
  std::expected<std::unique_ptr<AudioFile>, OSStatus> opened = nullptr;
  {
    const std::jthread worker([&] { opened = services_.openAudioFile(kSong); });
    hanging.wait();
    const FileURL other("/music/other.wav");
    services_.add(other, pcmFile());
    EXPECT_TRUE(services_.openAudioFile(other));
    services_.remove(other);
    services_.setAvailableMemory(5);
    services_.setReadGate(nullptr);
    EXPECT_EQ(services_.openCount(), 2);
    EXPECT_EQ(services_.openFileCount(), 0);
    released.count_down();
  }
  ASSERT_TRUE(opened && *opened);
  EXPECT_EQ((*opened)->readBytes(0, buffer_), 8U);
}

TEST_F(SimulatedAudioFileServicesTest, OpenFilesAreCounted) {
  services_.add(kSong, compressedFile());
  {
    const auto file = services_.openExtAudioFile(kSong);
    EXPECT_GT(services_.openFileCount(), 0);
  }
  EXPECT_EQ(services_.openFileCount(), 0);
}

}  // namespace
}  // namespace tolvane
