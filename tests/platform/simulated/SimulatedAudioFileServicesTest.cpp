#include "platform/simulated/SimulatedAudioFileServices.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>

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

TEST_F(SimulatedAudioFileServicesTest, aFileThatNobodyAddedIsNotFound) {
  EXPECT_EQ(services_.openAudioFile(kSong).error(), kAudioFileFileNotFoundError);
  EXPECT_EQ(services_.openExtAudioFile(kSong).error(), kAudioFileFileNotFoundError);
}

TEST_F(SimulatedAudioFileServicesTest, aFileIsReadWhereAskedAndEndsWithFewerBytes) {
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

TEST_F(SimulatedAudioFileServicesTest, aFileMayAnnounceWhatItDoesNotHold) {
  auto script = pcmFile();
  script.announcedByteCount = 4000;
  script.mostBytesARead = 3;
  services_.add(kSong, script);
  const auto file = std::move(*services_.openAudioFile(kSong));
  EXPECT_EQ(file->audioDataByteCount(), 4000U);
  EXPECT_EQ(file->readBytes(0, buffer_), 3U);
  EXPECT_EQ(file->readBytes(6, buffer_), 2U);
}

TEST_F(SimulatedAudioFileServicesTest, everyStepFailsWithItsStatus) {
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

TEST_F(SimulatedAudioFileServicesTest, anOpenMaySucceedWithNothing) {
  services_.add(kSong, SimulatedPCMFile{.opensAsNull = true});
  EXPECT_EQ(*services_.openAudioFile(kSong), nullptr);
  services_.add(kSong, SimulatedCompressedFile{.opensAsNull = true});
  EXPECT_EQ(*services_.openExtAudioFile(kSong), nullptr);
}

TEST_F(SimulatedAudioFileServicesTest, aCompressedFileIsReadAsFloatFromItsBeginningToItsEnd) {
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

TEST_F(SimulatedAudioFileServicesTest, everyStepOfACompressedFileFailsWithItsStatus) {
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

TEST_F(SimulatedAudioFileServicesTest, aFileOfOneKindOpenedAsTheOther) {
  services_.add(kSong, compressedFile());
  EXPECT_EQ((*services_.openAudioFile(kSong))->dataFormat()->mFormatID, fourCharCode("flac"));
  services_.add(kSong, pcmFile());
  EXPECT_EQ(services_.openExtAudioFile(kSong).error(), kAudioFileUnsupportedFileTypeError);
}

TEST_F(SimulatedAudioFileServicesTest, openFilesAreCounted) {
  services_.add(kSong, compressedFile());
  {
    const auto file = services_.openExtAudioFile(kSong);
    EXPECT_GT(services_.openFileCount(), 0);
  }
  EXPECT_EQ(services_.openFileCount(), 0);
}

}  // namespace
}  // namespace tolvane
