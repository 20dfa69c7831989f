#include "platform/codecs/SystemAudioFileServices.h"

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>

#include "platform/codecs/decoding/AvailableMemory.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/Workbench.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {
namespace {

class ServicesTest : public testing::Test {
 protected:
  std::unique_ptr<AudioFile> open(const FileURL& url) {
    auto file = services_.openAudioFile(url);
    EXPECT_TRUE(file) << statusText(file.error());
    return file ? std::move(*file) : nullptr;
  }

  OSStatus openStatus(const std::vector<std::byte>& bytes) {
    const auto file = services_.openAudioFile(bench_.write("case", bytes));
    return file ? noErr : file.error();
  }

  OSStatus openExtStatus(const std::vector<std::byte>& bytes) {
    const auto file = services_.openExtAudioFile(bench_.write("case", bytes));
    return file ? noErr : file.error();
  }

  static std::vector<std::byte> readAll(AudioFile& file) {
    std::vector<std::byte> bytes(*file.audioDataByteCount());
    bytes.resize(*file.readBytes(0, bytes));
    return bytes;
  }

  Workbench bench_;
  SystemAudioFileServices services_;
};

TEST_F(ServicesTest, HandsOutTheDataOfAWavFileByteForByte) {
  const auto data = SeededRandom(9).bytes(6 * 1000);
  const auto file = open(bench_.write("a.wav", WavFile().format(1, 2, 96000, 6, 24).chunk("data", data).bytes()));
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(readAll(*file) == data);
  EXPECT_EQ(file->sourceBitDepth(), 24);
}

TEST_F(ServicesTest, NeverHandsOutBytesBehindTheData) {
  const auto url = bench_.write(
      "a.wav",
      WavFile().format(1, 1, 8000, 1, 8).chunk("data", countingBytes(9)).chunk("LIST", countingBytes(40)).bytes());
  const auto file = open(url);
  ASSERT_NE(file, nullptr);
  std::vector<std::byte> bytes(100);
  EXPECT_EQ(file->readBytes(0, bytes), 9U);
  EXPECT_EQ(file->readBytes(4, bytes), 5U);
  EXPECT_EQ(bytes[0], std::byte{4});
  EXPECT_EQ(file->readBytes(9, bytes), 0U);
  EXPECT_EQ(file->readBytes(~std::uint64_t{0}, bytes), 0U);
}

TEST_F(ServicesTest, DeliversWhatIsLeftOfAFileThatShrinks) {
  const auto url =
      bench_.write("a.wav", WavFile().format(1, 2, 44100, 4, 16).chunk("data", countingBytes(400)).bytes());
  const auto file = open(url);
  ASSERT_NE(file, nullptr);
  std::filesystem::resize_file(url.path(), 44 + 100);
  EXPECT_EQ(file->audioDataByteCount(), 400U);
  EXPECT_EQ(readAll(*file).size(), 100U);
}

TEST_F(ServicesTest, JudgesByContentAndNotByName) {
  EXPECT_NE(open(bench_.write("a.mp3", AiffFile().common(1, 1, 16, 8000).soundData(countingBytes(2)).bytes())),
            nullptr);
}

TEST_F(ServicesTest, DoesNotTakeTheWrongKindForADamagedOne) {
  const auto wav = WavFile().format(1, 2, 44100, 4, 16).chunk("data", countingBytes(8)).bytes();
  EXPECT_EQ(openExtStatus(wav), kAudioFileUnsupportedFileTypeError);
  for (const auto& bytes :
       {std::vector<std::byte>{}, countingBytes(5), SeededRandom(10).bytes(3'000'000),
        Bytes().text("RIFF").little(4, 4).text("AVI ").all(), Bytes().text("FORM").big(4, 4).text("ILBM").all()}) {
    EXPECT_EQ(openStatus(bytes), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(openExtStatus(bytes), kAudioFileUnsupportedFileTypeError);
  }
}

TEST_F(ServicesTest, SaysWhenAKnownKindIsDamaged) {
  EXPECT_EQ(openStatus(WavFile().bytes()), kAudioFileInvalidFileError);
  EXPECT_EQ(openStatus(AiffFile().bytes()), kAudioFileInvalidFileError);
  EXPECT_EQ(openExtStatus(Bytes().text("fLaC").repeat(std::byte{0}, 100).all()), kAudioFileInvalidFileError);
}

struct ForeignCase {
  std::string start;
  FourCharCode formatID;
};

TEST_F(ServicesTest, OpensOtherKnownKindsWithTheirOwnFormat) {
  using namespace std::string_literals;
  for (const auto& [start, formatID] :
       {ForeignCase{"\0\0\0\x20"
                    "ftypM4A "s,
                    fourCharCode("mp4f")},
        ForeignCase{"caff\0\1\0\0"s, fourCharCode("caff")}, ForeignCase{"fLaC"s, fourCharCode("flac")},
        ForeignCase{"wvpk"s, fourCharCode("wvpk")},
        ForeignCase{"OggS"s + std::string(24, '\0') + "OpusHead", fourCharCode("opus")},
        ForeignCase{"\xFF\xF1\x50\x80"s, fourCharCode("aac ")}}) {
    const auto file = open(bench_.write("case.wav", Bytes().text(start).repeat(std::byte{0}, 200).all()));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->dataFormat()->mFormatID, formatID);
    EXPECT_NE(file->dataFormat()->mFormatID, kAudioFormatLinearPCM);
  }
}

std::vector<std::byte> smallTag() {
  return Bytes().text("ID3").big(0x0400'00, 3).big(20, 4).repeat(std::byte{1}, 20).all();
}

TEST_F(ServicesTest, ReadsAWavOrAiffFileBehindATag) {
  const auto data = SeededRandom(13).bytes(400);
  const auto wav = WavFile().format(1, 2, 44100, 4, 16).chunk("data", data).bytes();
  const auto aiff = AiffFile().common(2, 100, 16, 44100).soundData(data).bytes();
  for (const auto& bytes : {wav, aiff}) {
    const auto file = open(bench_.write("tagged.wav", Bytes().append(smallTag()).append(bytes).all()));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->dataFormat()->mFormatID, kAudioFormatLinearPCM);
    EXPECT_TRUE(readAll(*file) == data);
  }
}

TEST_F(ServicesTest, PlaysMp3InTheHeaderOfAWavFile) {
  bench_.makeWav("in.wav", 44100, 2, 16, 2);
  bench_.run("lame --quiet -t -b 128 in.wav plain.mp3");
  const auto plain = bench_.bytesOf("plain.mp3");
  const auto whole = bench_.decode("plain.mp3", kSerial);
  ASSERT_GT(whole.frames, 44100U);
  const auto list = std::vector<std::byte>(3'000'000, std::byte{0xFF});
  const auto wav = WavFile().format(0x55, 2, 44100, 1, 0).chunk("LIST", list).chunk("data", plain);
  bench_.write("wave.mp3", wav.bytes());
  bench_.write("rmp3.mp3",
               Bytes().text("RIFF").little(0, 4).text("RMP3data").little(plain.size(), 4).append(plain).all());
  bench_.write("tagged.mp3", Bytes().append(smallTag()).append(wav.bytes()).all());
  for (const char* name : {"wave.mp3", "rmp3.mp3", "tagged.mp3"}) {
    const auto result = bench_.decode(name, kParallel);
    EXPECT_EQ(result.status, noErr) << name;
    EXPECT_TRUE(result.samples == whole.samples) << name;
  }
}

TEST(AvailableMemory, IsWhatTheControlGroupsOfTheProcessLeave) {
  constexpr std::uint64_t mebibyte = 1024 * 1024;
  const test::TemporaryFolder folder;
  const auto write = [&](const std::string& name, std::uint64_t bytes) {
    folder.write(name, std::to_string(bytes) + "\n");
  };
  const auto left = [&](const std::string& groups) {
    std::istringstream text(groups);
    return memoryLeftByGroups(folder.path(), text);
  };
  folder.write("user/app/memory.max", "max\n");
  write("user/app/memory.current", 200 * mebibyte);
  EXPECT_EQ(left("0::/user/app\n"), ~std::uint64_t{0}) << "no limit";
  write("user/memory.max", 256 * mebibyte);
  write("user/memory.current", 200 * mebibyte);
  EXPECT_EQ(left("0::/user/app\n"), 56 * mebibyte) << "that of the group around it";
  write("user/app/memory.max", 210 * mebibyte);
  EXPECT_EQ(left("1:cpu:/else\n0::/user/app\n"), 10 * mebibyte);
  folder.write("user/app/memory.stat", "anon 1\ninactive_file 20971520\nactive_file 10485760\n");
  EXPECT_EQ(left("0::/user/app\n"), 40 * mebibyte) << "files in the cache are given back first";
  write("user/app/memory.max", 100 * mebibyte);
  EXPECT_EQ(left("0::/user/app\n"), 0U) << "a limit that was lowered";
  EXPECT_EQ(left("0::/../../etc\n"), ~std::uint64_t{0});
  EXPECT_EQ(left(""), ~std::uint64_t{0});
  EXPECT_EQ(left("0::/\n"), ~std::uint64_t{0}) << "the outermost group has no limit";
}

TEST_F(ServicesTest, ReportsTheMemoryThatTheKernelReports) {
  std::istringstream text(
      "MemTotal: 900 kB\nMemFree: 1 kB\nMemAvailable:  300 kB\nHugePages_Total:  5\nSwapFree: 20 kB\n");
  EXPECT_EQ(availableMemoryIn(text), 320U * 1024);
  std::istringstream nothing("MemTotal: 900 kB\n");
  EXPECT_EQ(availableMemoryIn(nothing), ~std::uint64_t{0});
  EXPECT_GT(services_.availableMemory(), 0U);
  EXPECT_LT(services_.availableMemory(), ~std::uint64_t{0});
}

TEST_F(ServicesTest, PassesOnWhyAFileCannotBeOpened) {
  EXPECT_EQ(services_.openAudioFile(bench_.url("missing.wav")).error(), -43);
  EXPECT_EQ(services_.openExtAudioFile(bench_.url("missing.mp3")).error(), -43);
  EXPECT_EQ(services_.openAudioFile(bench_.url("")).error(), kAudioFileUnsupportedFileTypeError);
}

/// Files as sox writes them, with the arguments that it needs to.
struct SoxCase {
  std::string name;
  std::string output;
  std::string rawArguments;  ///< of the same samples without a header
};

class SoxConformance : public testing::TestWithParam<SoxCase> {};

TEST_P(SoxConformance, HandsOutTheSamplesThatSoxPutIn) {
  const Workbench bench;
  bench.makeWav("in.wav", 48000, 2, 24, 1);
  bench.run("sox -D in.wav " + GetParam().output);
  const auto raw = bench.run("sox -D in.wav -t raw " + GetParam().rawArguments + " -");
  SystemAudioFileServices services;
  const auto file = services.openAudioFile(bench.url(GetParam().output.substr(GetParam().output.rfind(' ') + 1)));
  ASSERT_TRUE(file);
  ASSERT_EQ((*file)->audioDataByteCount(), raw.size());
  std::vector<std::byte> bytes(raw.size());
  EXPECT_EQ((*file)->readBytes(0, bytes), raw.size());
  EXPECT_TRUE(bytes == raw);
  EXPECT_EQ((*file)->dataFormat()->mSampleRate, 48000);
}

INSTANTIATE_TEST_SUITE_P(Files, SoxConformance,
                         testing::Values(SoxCase{"Wav8", "-b 8 a.wav", "-b 8 -e unsigned"},
                                         SoxCase{"Wav16", "-b 16 a.wav", "-b 16 -e signed -L"},
                                         SoxCase{"Wav24", "-b 24 a.wav", "-b 24 -e signed -L"},
                                         SoxCase{"Wav32", "-b 32 a.wav", "-b 32 -e signed -L"},
                                         SoxCase{"WavFloat32", "-b 32 -e float a.wav", "-b 32 -e float -L"},
                                         SoxCase{"WavFloat64", "-b 64 -e float a.wav", "-b 64 -e float -L"},
                                         SoxCase{"Aiff8", "-b 8 a.aiff", "-b 8 -e signed"},
                                         SoxCase{"Aiff16", "-b 16 a.aiff", "-b 16 -e signed -B"},
                                         SoxCase{"Aiff24", "-b 24 a.aiff", "-b 24 -e signed -B"},
                                         SoxCase{"Aiff32", "-b 32 a.aiff", "-b 32 -e signed -B"},
                                         SoxCase{"Aifc16", "-b 16 a.aifc", "-b 16 -e signed -B"},
                                         SoxCase{"Aifc24", "-b 24 a.aifc", "-b 24 -e signed -B"}),
                         caseName);

}  // namespace
}  // namespace tolvane::test
