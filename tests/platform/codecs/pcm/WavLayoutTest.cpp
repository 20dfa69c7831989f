#include "platform/codecs/pcm/WavLayout.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>

#include "tests/platform/codecs/AudioBytes.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test::wav {
namespace {

constexpr std::uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr std::uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr std::uint32_t kPacked = kAudioFormatFlagIsPacked;
constexpr std::uint32_t kHigh = kAudioFormatFlagIsAlignedHigh;

std::expected<PcmFileLayout, OSStatus> read(const WavFile& file) { return readWavLayout(MemorySource(file.bytes())); }

WavFile stereo16() { return WavFile().format(1, 2, 44100, 4, 16); }

struct LayoutCase {
  std::string name;
  WavFile file;
  AudioStreamBasicDescription format;
  std::int32_t sourceBitDepth;
};

AudioStreamBasicDescription pcm(double rate, std::uint32_t channels, std::uint32_t bits, std::uint32_t bytesPerFrame,
                                std::uint32_t flags) {
  return {rate, kAudioFormatLinearPCM, flags, bytesPerFrame, 1, bytesPerFrame, channels, bits, 0};
}

class WavLayoutTable : public testing::TestWithParam<LayoutCase> {};

TEST_P(WavLayoutTable, DescribesTheSamplesAsTheyLieInTheFile) {
  auto file = GetParam().file;
  const auto layout = read(file.chunk("data", countingBytes(96)));
  ASSERT_TRUE(layout) << statusText(layout.error());
  EXPECT_EQ(layout->format, GetParam().format);
  EXPECT_EQ(layout->sourceBitDepth, GetParam().sourceBitDepth);
  EXPECT_EQ(layout->dataByteCount, 96U);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, WavLayoutTable,
    testing::Values(
        LayoutCase{"Bits16", stereo16(), pcm(44100, 2, 16, 4, kSigned | kPacked), 16},
        LayoutCase{"Bits8AreUnsigned", WavFile().format(1, 2, 22050, 2, 8), pcm(22050, 2, 8, 2, kPacked), 8},
        LayoutCase{"Bits24", WavFile().format(1, 2, 96000, 6, 24), pcm(96000, 2, 24, 6, kSigned | kPacked), 24},
        LayoutCase{"Bits32", WavFile().format(1, 2, 768000, 8, 32), pcm(768000, 2, 32, 8, kSigned | kPacked), 32},
        LayoutCase{"Bits64", WavFile().format(1, 1, 8000, 8, 64), pcm(8000, 1, 64, 8, kSigned | kPacked), 64},
        LayoutCase{"Float32", WavFile().format(3, 2, 48000, 8, 32), pcm(48000, 2, 32, 8, kFloat | kPacked), -32},
        LayoutCase{"Float64", WavFile().format(3, 2, 48000, 16, 64), pcm(48000, 2, 64, 16, kFloat | kPacked), -64},
        LayoutCase{"Channels32", WavFile().format(1, 32, 48000, 96, 24), pcm(48000, 32, 24, 96, kSigned | kPacked), 24},
        LayoutCase{"Bits20In3PlainBytes", WavFile().format(1, 2, 48000, 6, 20), pcm(48000, 2, 20, 6, kSigned | kHigh),
                   20},
        LayoutCase{"Bits12In2PlainBytes", WavFile().format(1, 1, 48000, 2, 12), pcm(48000, 1, 12, 2, kSigned | kHigh),
                   12},
        LayoutCase{"Bits24In4PlainBytes", WavFile().format(1, 2, 48000, 8, 24), pcm(48000, 2, 24, 8, kSigned | kHigh),
                   24},
        LayoutCase{"Extensible16", WavFile().extensible(1, 2, 44100, 4, 16, 16),
                   pcm(44100, 2, 16, 4, kSigned | kPacked), 16},
        LayoutCase{"Extensible20In24", WavFile().extensible(1, 2, 44100, 6, 24, 20),
                   pcm(44100, 2, 20, 6, kSigned | kHigh), 20},
        LayoutCase{"Extensible24In32", WavFile().extensible(1, 2, 192000, 8, 32, 24),
                   pcm(192000, 2, 24, 8, kSigned | kHigh), 24},
        LayoutCase{"ExtensibleWithoutValidBits", WavFile().extensible(1, 6, 44100, 18, 24, 0),
                   pcm(44100, 6, 24, 18, kSigned | kPacked), 24},
        LayoutCase{"ExtensibleFloatIgnoresValidBits", WavFile().extensible(3, 2, 44100, 8, 32, 24),
                   pcm(44100, 2, 32, 8, kFloat | kPacked), -32},
        LayoutCase{"Extensible4BitsInOneByteAreUnsigned", WavFile().extensible(1, 1, 8000, 1, 8, 4),
                   pcm(8000, 1, 4, 1, kHigh), 4},
        LayoutCase{"FrameOfNoBytesIsHandedOn", WavFile().format(1, 2, 44100, 0, 16), pcm(44100, 2, 16, 0, kSigned), 16},
        LayoutCase{"NoChannelsAreHandedOn", WavFile().format(1, 0, 44100, 4, 16), pcm(44100, 0, 16, 4, kSigned), 16},
        LayoutCase{"OddFrameIsHandedOn", WavFile().format(1, 2, 44100, 7, 24), pcm(44100, 2, 24, 7, kSigned | kPacked),
                   24}),
    caseName);

struct WavTagCase {
  std::uint16_t tag;
  FourCharCode formatID;
};

TEST(WavLayout, DescribesDataThatIsNotLinearWithItsOwnFormat) {
  for (const auto& [tag, formatID] : {WavTagCase{0x0002, 0x6D730002}, WavTagCase{0x0006, fourCharCode("alaw")},
                                      WavTagCase{0x0007, fourCharCode("ulaw")}, WavTagCase{0x0055, 0x6D730055}}) {
    const auto layout = read(WavFile().format(tag, 2, 44100, 4, 16).chunk("data", countingBytes(8)));
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->format.mFormatID, formatID);
    EXPECT_EQ(layout->sourceBitDepth, 0);
  }
}

TEST(WavLayout, TakesAnUnknownSubFormatForNoLinearOne) {
  auto bytes = WavFile().extensible(1, 2, 44100, 4, 16, 16).chunk("data", countingBytes(8)).bytes();
  bytes[12 + 8 + 30] ^= std::byte{1};
  const auto layout = readWavLayout(MemorySource(bytes));
  ASSERT_TRUE(layout);
  EXPECT_NE(layout->format.mFormatID, kAudioFormatLinearPCM);
}

struct DataCase {
  std::string name;
  WavFile file;
  std::uint64_t offset;
  std::uint64_t byteCount;
};

std::vector<std::byte> longSizes(std::uint64_t dataSize) {
  return Bytes().little(0, 8).little(dataSize, 8).little(0, 8).little(0, 4).all();
}

class WavDataTable : public testing::TestWithParam<DataCase> {};

TEST_P(WavDataTable, FindsTheDataThatTheFileReallyHolds) {
  const auto layout = read(GetParam().file);
  ASSERT_TRUE(layout) << statusText(layout.error());
  EXPECT_EQ(layout->dataOffset, GetParam().offset);
  EXPECT_EQ(layout->dataByteCount, GetParam().byteCount);
}

INSTANTIATE_TEST_SUITE_P(
    Places, WavDataTable,
    testing::Values(
        DataCase{"Plain", stereo16().chunk("data", countingBytes(8)), 44, 8},
        DataCase{"Empty", stereo16().chunk("data", {}), 44, 0},
        DataCase{"EmptyWithAChunkBehind", stereo16().chunk("data", {}).chunk("LIST", countingBytes(6)), 44, 0},
        DataCase{"ShorterThanAFrame", stereo16().chunk("data", countingBytes(3)), 44, 3},
        DataCase{"SizeNeverWritten", stereo16().chunk("data", SeededRandom(5).bytes(400), 0), 44, 400},
        DataCase{"StreamedSize", stereo16().chunk("data", countingBytes(8), 0xFFFFFFFF), 44, 8},
        DataCase{"SizeBeyondTheFile", stereo16().chunk("data", countingBytes(8), 4000), 44, 8},
        DataCase{"SizeBelowTheFile", stereo16().chunk("data", countingBytes(8), 4), 44, 4},
        DataCase{"BehindOtherChunks",
                 WavFile().chunk("JUNK", countingBytes(10)).format(1, 2, 44100, 4, 16).chunk("data", countingBytes(8)),
                 62, 8},
        DataCase{"BeforeOtherChunks", stereo16().chunk("data", countingBytes(8)).chunk("LIST", countingBytes(30)), 44,
                 8},
        DataCase{"BehindAnOddChunk", stereo16().chunk("LIST", countingBytes(5)).chunk("data", countingBytes(8)), 58, 8},
        DataCase{"BehindAnOddChunkWithoutPadding",
                 stereo16().chunk("LIST", countingBytes(5), {}, false).chunk("data", countingBytes(8)), 57, 8},
        DataCase{"OddData", stereo16().chunk("data", countingBytes(9)).chunk("LIST", countingBytes(2)), 44, 9},
        DataCase{"BeforeTheFormat", WavFile().chunk("data", countingBytes(7)).format(1, 2, 44100, 4, 16), 20, 7},
        DataCase{"TheFirstOfTwo", stereo16().chunk("data", countingBytes(8)).chunk("data", countingBytes(20)), 44, 8},
        DataCase{"LongSizes",
                 WavFile("RF64")
                     .chunk("ds64", longSizes(8))
                     .format(1, 2, 44100, 4, 16)
                     .chunk("data", countingBytes(20), 0xFFFFFFFF),
                 80, 8},
        DataCase{"LongSizesOfBW64",
                 WavFile("BW64")
                     .chunk("ds64", longSizes(12))
                     .format(1, 2, 44100, 4, 16)
                     .chunk("data", countingBytes(20), 0xFFFFFFFF),
                 80, 12},
        DataCase{"LongSizesNotKnown",
                 WavFile("RF64")
                     .chunk("ds64", longSizes(0))
                     .format(1, 2, 44100, 4, 16)
                     .chunk("data", countingBytes(20), 0xFFFFFFFF),
                 80, 20},
        DataCase{"LongSizesBeyondTheFile",
                 WavFile("RF64")
                     .chunk("ds64", longSizes(~std::uint64_t{0}))
                     .format(1, 2, 44100, 4, 16)
                     .chunk("data", countingBytes(20), 0xFFFFFFFF),
                 80, 20},
        DataCase{
            "LongSizesButAShortOneIsGiven",
            WavFile("RF64").chunk("ds64", longSizes(8)).format(1, 2, 44100, 4, 16).chunk("data", countingBytes(20)), 80,
            20},
        DataCase{"LongFileWithoutSizes",
                 WavFile("RF64").format(1, 2, 44100, 4, 16).chunk("data", countingBytes(20), 0xFFFFFFFF), 44, 20}),
    caseName);

TEST(WavLayout, SkipsAChunkWhoseLongSizeStandsInTheTable) {
  const auto sizes = Bytes().little(0, 8).little(8, 8).little(0, 8).little(1, 4).text("bext").little(6, 8).all();
  const auto layout = read(WavFile("RF64")
                               .chunk("ds64", sizes)
                               .chunk("bext", countingBytes(6), 0xFFFFFFFF)
                               .format(1, 2, 44100, 4, 16)
                               .chunk("data", countingBytes(20), 0xFFFFFFFF));
  ASSERT_TRUE(layout);
  EXPECT_EQ(layout->dataByteCount, 8U);
}

struct DamagedCase {
  std::string name;
  WavFile file;
};

class DamagedWavTable : public testing::TestWithParam<DamagedCase> {};

TEST_P(DamagedWavTable, IsADamagedFile) {
  const auto layout = read(GetParam().file);
  ASSERT_FALSE(layout);
  EXPECT_EQ(layout.error(), kAudioFileInvalidFileError);
}

INSTANTIATE_TEST_SUITE_P(
    Damage, DamagedWavTable,
    testing::Values(
        DamagedCase{"NothingBehindTheHeader", WavFile()}, DamagedCase{"NoData", stereo16()},
        DamagedCase{"NoFormat", WavFile().chunk("data", countingBytes(8))},
        DamagedCase{"ShortFormat", WavFile().chunk("fmt ", countingBytes(14)).chunk("data", countingBytes(8))},
        DamagedCase{"ExtensibleWithoutExtension",
                    WavFile().format(0xFFFE, 2, 44100, 4, 16).chunk("data", countingBytes(8))},
        DamagedCase{"MoreValidBitsThanBits",
                    WavFile().extensible(1, 2, 44100, 4, 16, 24).chunk("data", countingBytes(8))},
        DamagedCase{"ShortLongSizes", WavFile("RF64").chunk("ds64", countingBytes(20)).format(1, 2, 44100, 4, 16)},
        DamagedCase{"FormatBehindStreamedData",
                    WavFile().chunk("data", countingBytes(8), 0xFFFFFFFF).format(1, 2, 44100, 4, 16)}),
    caseName);

TEST(WavLayout, GivesUpOnEndlessEmptyChunks) {
  auto file = WavFile();
  for (int i = 0; i < 20'000; ++i) file.chunk("LIST", {});
  EXPECT_EQ(read(file.format(1, 2, 44100, 4, 16).chunk("data", countingBytes(8))),
            std::unexpected(kAudioFileInvalidFileError));
}

TEST(WavLayout, NeverPointsOutsideACutFile) {
  const auto bytes = WavFile("RF64")
                         .chunk("ds64", longSizes(16))
                         .chunk("LIST", countingBytes(3))
                         .extensible(1, 2, 44100, 8, 32, 24)
                         .chunk("data", countingBytes(16), 0xFFFFFFFF)
                         .bytes();
  int read = 0;
  for (std::size_t size = 0; size <= bytes.size(); ++size) {
    const auto layout = readWavLayout(MemorySource({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)}));
    if (!layout) continue;
    ++read;
    EXPECT_LE(layout->dataOffset + layout->dataByteCount, size);
  }
  EXPECT_GE(read, 10) << "cut files that can be read";
}

TEST(WavLayout, NeverPointsOutsideADamagedFile) {
  const auto bytes = WavFile("RF64")
                         .chunk("ds64", longSizes(16))
                         .chunk("LIST", countingBytes(3))
                         .extensible(1, 2, 44100, 8, 32, 24)
                         .chunk("data", countingBytes(16), 0xFFFFFFFF)
                         .bytes();
  SeededRandom random(1);
  int read = 0;
  for (int round = 0; round < 20'000; ++round) {
    auto damaged = bytes;
    for (std::uint64_t i = random.below(4); i < 4; ++i) {
      damaged[random.below(damaged.size())] = static_cast<std::byte>(random.next());
    }
    const auto layout = readWavLayout(MemorySource(damaged));
    if (!layout) continue;
    ++read;
    EXPECT_LE(layout->dataOffset + layout->dataByteCount, damaged.size());
  }
  EXPECT_GE(read, 10'000) << "damaged files that can be read";
}

}  // namespace
}  // namespace tolvane::test::wav
