#include "platform/codecs/pcm/AiffLayout.h"

#include <gmock/gmock.h>

#include <cmath>
#include <string>

#include "tests/platform/codecs/AudioBytes.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test::aiff {
namespace {

constexpr std::uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr std::uint32_t kBig = kAudioFormatFlagIsBigEndian;
constexpr std::uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr std::uint32_t kPacked = kAudioFormatFlagIsPacked;
constexpr std::uint32_t kHigh = kAudioFormatFlagIsAlignedHigh;

std::expected<PcmFileLayout, OSStatus> read(const AiffFile& file) { return readAiffLayout(MemorySource(file.bytes())); }

struct LayoutCase {
  std::string name;
  std::string compression;
  std::uint16_t sampleSize;
  std::uint32_t bits;
  std::uint32_t bytesPerSample;
  std::uint32_t flags;
};

class AiffLayoutTable : public testing::TestWithParam<LayoutCase> {};

TEST_P(AiffLayoutTable, DescribesTheSamplesAsTheyLieInTheFile) {
  const auto& expected = GetParam();
  auto file = AiffFile(expected.compression.empty() ? "AIFF" : "AIFC");
  file.common(2, 4, expected.sampleSize, 96000, expected.compression).soundData(countingBytes(48));
  const auto layout = read(file);
  ASSERT_TRUE(layout) << statusText(layout.error());
  const std::uint32_t bytesPerFrame = 2 * expected.bytesPerSample;
  const AudioStreamBasicDescription format{
      96000, kAudioFormatLinearPCM, expected.flags, bytesPerFrame, 1, bytesPerFrame, 2, expected.bits, 0};
  EXPECT_EQ(layout->format, format);
  const auto depth = static_cast<std::int32_t>(expected.bits);
  EXPECT_EQ(layout->sourceBitDepth, (expected.flags & kFloat) != 0 ? -depth : depth);
  EXPECT_EQ(layout->dataByteCount, 48U);
}

INSTANTIATE_TEST_SUITE_P(Layouts, AiffLayoutTable,
                         testing::Values(LayoutCase{"Bits8", "", 8, 8, 1, kSigned | kBig | kPacked},
                                         LayoutCase{"Bits12", "", 12, 12, 2, kSigned | kBig | kHigh},
                                         LayoutCase{"Bits16", "", 16, 16, 2, kSigned | kBig | kPacked},
                                         LayoutCase{"Bits20", "", 20, 20, 3, kSigned | kBig | kHigh},
                                         LayoutCase{"Bits24", "", 24, 24, 3, kSigned | kBig | kPacked},
                                         LayoutCase{"Bits32", "", 32, 32, 4, kSigned | kBig | kPacked},
                                         LayoutCase{"TypeNone", "NONE", 16, 16, 2, kSigned | kBig | kPacked},
                                         LayoutCase{"TypeTwos", "twos", 24, 24, 3, kSigned | kBig | kPacked},
                                         LayoutCase{"TypeSowt", "sowt", 16, 16, 2, kSigned | kPacked},
                                         LayoutCase{"TypeSowt24", "sowt", 24, 24, 3, kSigned | kPacked},
                                         LayoutCase{"TypeRaw", "raw ", 8, 8, 1, kPacked},
                                         LayoutCase{"TypeIn24", "in24", 16, 24, 3, kSigned | kBig | kPacked},
                                         LayoutCase{"TypeIn32", "in32", 16, 32, 4, kSigned | kBig | kPacked},
                                         LayoutCase{"TypeIn24Reversed", "42ni", 16, 24, 3, kSigned | kPacked},
                                         LayoutCase{"TypeIn32Reversed", "23ni", 16, 32, 4, kSigned | kPacked},
                                         LayoutCase{"TypeFl32Small", "fl32", 16, 32, 4, kFloat | kBig | kPacked},
                                         LayoutCase{"TypeFl32Large", "FL32", 32, 32, 4, kFloat | kBig | kPacked},
                                         LayoutCase{"TypeFl64Small", "fl64", 0, 64, 8, kFloat | kBig | kPacked},
                                         LayoutCase{"TypeFl64Large", "FL64", 64, 64, 8, kFloat | kBig | kPacked}),
                         caseName);

TEST(AiffLayout, DescribesCompressedDataWithItsOwnFormat) {
  const auto layout = read(AiffFile("AIFC").common(2, 4, 16, 44100, "ima4").soundData(countingBytes(68)));
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->format.mFormatID, fourCharCode("ima4"));
  EXPECT_EQ(layout->sourceBitDepth, 0);
}

TEST(AiffLayout, ReadsEveryRateExactly) {
  for (const double rate : {1.0, 8000.0, 11025.0, 22254.545454545454, 44100.0, 48000.0, 88200.0, 352800.0, 768000.0}) {
    const auto layout = read(AiffFile().common(1, 1, 16, rate).soundData(countingBytes(2)));
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->format.mSampleRate, rate);
  }
}

TEST(AiffLayout, ReadsTheRateAsOtherProgramsWriteIt) {
  EXPECT_EQ(loadExtended(Bytes().big(0x400E, 2).big(0xAC44'0000'0000'0000, 8).all()), 44100.0);
  EXPECT_EQ(loadExtended(Bytes().big(0, 10).all()), 0.0);
  EXPECT_EQ(loadExtended(Bytes().big(0xC00E, 2).big(0xAC44'0000'0000'0000, 8).all()), -44100.0);
  EXPECT_FALSE(std::isfinite(loadExtended(Bytes().big(0x7FFF, 2).big(0x8000'0000'0000'0000, 8).all())));
  EXPECT_FALSE(std::isfinite(loadExtended(Bytes().big(0x7FFE, 2).big(0x8000'0000'0000'0000, 8).all())));
}

struct DataCase {
  std::string name;
  AiffFile file;
  std::uint64_t offset;
  std::uint64_t byteCount;
};

AiffFile stereo16(std::uint32_t frames = 4) { return AiffFile().common(2, frames, 16, 44100); }

class AiffDataTable : public testing::TestWithParam<DataCase> {};

TEST_P(AiffDataTable, FindsTheDataThatTheFileReallyHolds) {
  const auto layout = read(GetParam().file);
  ASSERT_TRUE(layout) << statusText(layout.error());
  EXPECT_EQ(layout->dataOffset, GetParam().offset);
  EXPECT_EQ(layout->dataByteCount, GetParam().byteCount);
}

INSTANTIATE_TEST_SUITE_P(
    Places, AiffDataTable,
    testing::Values(
        DataCase{"Plain", stereo16().soundData(countingBytes(16)), 54, 16},
        DataCase{"BehindAnOffset", stereo16().soundData(countingBytes(16), 6), 60, 16},
        DataCase{"InBlocksFilledUp", stereo16().soundData(countingBytes(64), 0, 64), 54, 16},
        DataCase{"MoreThanTheFrameCountSays", stereo16(2).soundData(countingBytes(16)), 54, 16},
        DataCase{"FewerThanTheFrameCountSays", stereo16(900).soundData(countingBytes(16)), 54, 16},
        DataCase{"BeforeTheCommonChunk", AiffFile().soundData(countingBytes(15)).common(2, 4, 16, 44100), 28, 15},
        DataCase{"BeforeOtherChunks", stereo16().soundData(countingBytes(16)).chunk("NAME", countingBytes(3)), 54, 16},
        DataCase{"BehindAnOddChunk",
                 AiffFile().chunk("NAME", countingBytes(3)).common(2, 4, 16, 44100).soundData(countingBytes(16)), 66,
                 16},
        DataCase{"SizeBeyondTheFile",
                 stereo16().chunk("SSND", Bytes().big(0, 8).append(countingBytes(16)).all(), 0x7FFFFFFF), 54, 16},
        DataCase{"SizeNeverWritten", stereo16(0).chunk("SSND", Bytes().big(0, 8).append(countingBytes(16)).all(), 0),
                 54, 16},
        DataCase{"SizeNeverWrittenAndCut", stereo16(0).chunk("SSND", Bytes().big(0, 8).all(), 0), 54, 0},
        DataCase{"NoFramesAndNoSoundData", stereo16(0), 0, 0}),
    caseName);

struct DamagedCase {
  std::string name;
  AiffFile file;
};

class DamagedAiffTable : public testing::TestWithParam<DamagedCase> {};

TEST_P(DamagedAiffTable, IsADamagedFile) {
  EXPECT_EQ(read(GetParam().file), std::unexpected(kAudioFileInvalidFileError));
}

INSTANTIATE_TEST_SUITE_P(
    Damage, DamagedAiffTable,
    testing::Values(
        DamagedCase{"NothingBehindTheHeader", AiffFile()}, DamagedCase{"FramesButNoSoundData", stereo16()},
        DamagedCase{"NoCommonChunk", AiffFile().soundData(countingBytes(16))},
        DamagedCase{"ShortCommonChunk", AiffFile().chunk("COMM", countingBytes(16))},
        DamagedCase{"CompressedWithoutType", AiffFile("AIFC").common(2, 4, 16, 44100).soundData(countingBytes(16))},
        DamagedCase{"ShortSoundData", stereo16().chunk("SSND", countingBytes(6))},
        DamagedCase{"OffsetBeyondTheData", stereo16().chunk("SSND", Bytes().big(99, 4).big(0, 4).big(0, 8).all())},
        DamagedCase{"RateThatIsNoNumber",
                    AiffFile()
                        .chunk("COMM", Bytes().big(2, 2).big(4, 4).big(16, 2).big(0x7FFF, 2).big(0, 8).all())
                        .soundData(countingBytes(16))}),
    caseName);

std::vector<std::byte> oddFile() {
  return AiffFile("AIFC")
      .chunk("FVER", countingBytes(4))
      .chunk("NAME", countingBytes(3))
      .common(2, 4, 20, 44100, "NONE")
      .soundData(countingBytes(24), 4, 8)
      .bytes();
}

TEST(AiffLayout, NeverPointsOutsideACutFile) {
  const auto bytes = oddFile();
  int read = 0;
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    const auto layout =
        readAiffLayout(MemorySource({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)}));
    if (!layout) continue;
    ++read;
    EXPECT_LE(layout->dataOffset + layout->dataByteCount, size);
  }
  EXPECT_GE(read, 15) << "cut files that can be read";
}

TEST(AiffLayout, NeverPointsOutsideADamagedFile) {
  const auto bytes = oddFile();
  SeededRandom random(2);
  int read = 0;
  for (int round = 0; round < 20'000; ++round) {
    auto damaged = bytes;
    for (std::uint64_t i = random.below(4); i < 4; ++i) {
      damaged[random.below(damaged.size())] = static_cast<std::byte>(random.next());
    }
    const auto layout = readAiffLayout(MemorySource(damaged));
    if (!layout) continue;
    ++read;
    EXPECT_LE(layout->dataOffset + layout->dataByteCount, damaged.size());
  }
  EXPECT_GE(read, 8'000) << "damaged files that can be read";
}

}  // namespace
}  // namespace tolvane::test::aiff
