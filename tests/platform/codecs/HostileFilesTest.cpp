// Files that were made to be read for ever. What they cost is counted, never timed.

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

#include "platform/codecs/pcm/AiffLayout.h"
#include "platform/codecs/FileRecognition.h"
#include "platform/codecs/flac/FlacScanner.h"
#include "platform/codecs/flac/FlacTrack.h"
#include "platform/codecs/mp3/MpegScanner.h"
#include "platform/codecs/mp3/MpegStream.h"
#include "platform/codecs/flac/OggPayload.h"
#include "platform/codecs/pcm/WavLayout.h"
#include "tests/platform/codecs/AudioBytes.h"
#include "tests/platform/codecs/Workbench.h"
#include "tests/support/Printers.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {
namespace {

/// Is cancelled when that has been asked so many times.
class ImpatientSource final : public ByteSource {
 public:
  ImpatientSource(std::vector<std::byte> bytes, std::uint64_t asks) : memory_(std::move(bytes)), asksLeft_(asks) {}

  [[nodiscard]] std::uint64_t size() const override { return memory_.size(); }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override {
    return memory_.readAt(offset, destination);
  }
  [[nodiscard]] bool isCancelled() const override {
    if (asksLeft_ == 0) return true;
    --asksLeft_;
    return false;
  }

 private:
  const MemorySource memory_;
  mutable std::uint64_t asksLeft_;
};

/// A piece of bytes, so many times: large files that take no memory.
class RepeatedSource final : public ByteSource {
 public:
  RepeatedSource(std::vector<std::byte> piece, std::uint64_t times) : piece_(std::move(piece)), times_(times) {}

  [[nodiscard]] std::uint64_t size() const override { return piece_.size() * times_; }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override {
    if (offset >= size()) return 0;
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(destination.size(), size() - offset));
    for (std::size_t i = 0; i < count; ++i) destination[i] = piece_[(offset + i) % piece_.size()];
    return count;
  }

 private:
  const std::vector<std::byte> piece_;
  const std::uint64_t times_;
};

TEST(OggPayload, RemembersABoundedNumberOfPages) {
  const auto page = Bytes().text("OggS").repeat(std::byte{0}, 22).little(1, 1).little(1, 1).text("x").all();
  constexpr std::uint64_t most = OggPayload::mostPages;
  const auto open = [&](std::uint64_t pages) {
    return OggPayload::open(std::make_shared<RepeatedSource>(page, pages), 0);
  };
  const auto longest = open(most);
  ASSERT_TRUE(longest);
  EXPECT_EQ((*longest)->size(), most);
  const auto longer = open(most + 1);
  ASSERT_FALSE(longer);
  EXPECT_EQ(longer.error(), kAudioFileInvalidFileError);
}

TEST(MpegStream, RemembersABoundedNumberOfSilencedPackets) {
  // 24 bytes at 8 kbit/s, one channel of 24 kHz. Each borrows all bits that it can, and the one before has used them.
  const auto packet = Bytes().big(0xFFF3'14C0, 4).repeat(std::byte{0xFF}, 9).repeat(std::byte{0}, 11).all();
  constexpr std::uint64_t most = MpegStream::kMostOddities;
  const auto longest = readMpegStream(RepeatedSource(packet, most), 0);
  ASSERT_TRUE(longest);
  EXPECT_EQ(longest->packetCount, most);
  EXPECT_EQ(longest->silenced.size(), most);
  const auto longer = readMpegStream(RepeatedSource(packet, most + 1), 0);
  ASSERT_FALSE(longer);
  EXPECT_EQ(longer.error(), kAudioFileInvalidFileError);
}

TEST(MpegStream, RemembersABoundedNumberOfHoles) {
  Bytes run;
  for (int i = 0; i < 8; ++i) run.big(0xFFF3'14C0, 4).repeat(std::byte{0}, 20);
  run.text("?");
  constexpr std::uint64_t most = MpegStream::kMostOddities;
  const auto longest = readMpegStream(RepeatedSource(run.all(), most), 0);
  ASSERT_TRUE(longest);
  EXPECT_EQ(longest->extents.size(), most);
  const auto longer = readMpegStream(RepeatedSource(run.all(), most + 1), 0);
  ASSERT_FALSE(longer);
  EXPECT_EQ(longer.error(), kAudioFileInvalidFileError);
}

TEST(MpegScanner, AsksAtEveryPlaceWhetherItsSourceIsCancelled) {
  // All of it is read at once, and each of its headers could begin a run of 8192 lengths.
  constexpr std::uint64_t asks = 10'000;
  const ImpatientSource source(freeHeadersWithoutRun(100'000), asks);
  MpegScanner scanner(source, source.size());
  const auto run = scanner.findRun(0, source.size());
  ASSERT_FALSE(run);
  EXPECT_EQ(run.error(), userCanceledErr);
  EXPECT_GT(scanner.placesLookedAt(), asks / 2);
  EXPECT_LE(scanner.placesLookedAt(), asks + 1);
}

TEST(FlacScanner, AsksAtEveryPieceWhetherItsSourceIsCancelled) {
  constexpr std::uint64_t asks = 7;
  constexpr std::uint64_t pieceBytes = 4096;
  FlacStream stream;
  stream.end = 200'000;
  for (const std::uint64_t fill : {0, 0xFF}) {
    const ImpatientSource source(std::vector<std::byte>(stream.end, static_cast<std::byte>(fill)), asks);
    FlacScanner scanner(source, stream);
    const auto head = scanner.find(0, stream.end);
    ASSERT_FALSE(head);
    EXPECT_EQ(head.error(), userCanceledErr);
  }
  // Just as many pieces may be looked at, and no byte more.
  const ImpatientSource source(std::vector<std::byte>(stream.end), asks);
  FlacScanner scanner(source, stream);
  EXPECT_TRUE(scanner.find(0, asks * pieceBytes));
  EXPECT_FALSE(scanner.find(0, 1));
}

TEST(MpegScanner, LooksAtFewPlacesMoreThanThereAreBytes) {
  // 64 searches of 8192 places, of which some are looked at again with what follows them.
  constexpr std::uint64_t kSearches = std::uint64_t{64} * 8192 * 3 / 2;
  for (const std::size_t size : {200'000, 1'000'000, 4'000'000}) {
    const MemorySource source(freeHeadersWithoutRun(size));
    MpegScanner scanner(source, source.size());
    // As after each stretch of junk: the same scanner goes on where it stopped.
    for (std::uint64_t begin = 0; begin < source.size(); begin += 100'000) {
      const auto run = scanner.findRun(begin, begin + 100'000);
      ASSERT_TRUE(run);
      EXPECT_FALSE(*run);
    }
    EXPECT_LE(scanner.placesLookedAt(), kSearches + source.size());
  }
}

struct JunkCase {
  std::string name;
  std::vector<std::byte> piece;  ///< again and again
};

std::vector<std::byte> headersAmongNoise() {
  SeededRandom random(21);
  Bytes bytes;
  for (int i = 0; i < 50'000; ++i) {
    constexpr std::array<std::uint64_t, 6> kWords = {0xFFFB'9000, 0xFFFF'5000, 0xFFE3'1000,
                                                     0xFFFD'E800, 0xFFFB'0000, 0x0000'FFFF};
    bytes.big(kWords[random.below(kWords.size())], 4).repeat(std::byte{0xFF}, random.below(5));
  }
  return bytes.all();
}

class JunkTable : public testing::TestWithParam<JunkCase> {};

TEST_P(JunkTable, IsReadAFewTimesAtMost) {
  const auto packets = Bytes().big(0xFFFB'9000, 4).repeat(std::byte{0}, 413).all();
  for (const std::size_t size : {200'000, 1'000'000, 3'000'000}) {
    for (const int packetsBefore : {0, 40}) {
      Bytes file;
      for (int i = 0; i < packetsBefore; ++i) file.append(packets);
      while (file.all().size() < size) file.append(GetParam().piece);
      const CountingSource source(file.all());
      const auto kind = recogniseFile(source);
      if (kind && kind->kind == AudioFileKind::mpeg) {
        EXPECT_TRUE(readMpegStream(source, kind->offset));
      }
      // Recognition looks through the first mebibyte twice, and a window is read again where a look ahead left it.
      constexpr std::uint64_t kWindows = 8 * 256 * 1024;
      EXPECT_LE(source.bytesRead(), 8 * source.size() + kWindows);
      EXPECT_LE(source.reads(), source.size() / 8 + 1000);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Junk, JunkTable,
                         testing::Values(JunkCase{"Zeros", std::vector<std::byte>(1000)},
                                         JunkCase{"Ones", std::vector<std::byte>(1000, std::byte{0xFF})},
                                         JunkCase{"FreeHeaders", freeHeadersWithoutRun(180'000)},
                                         JunkCase{"HeadersAmongNoise", headersAmongNoise()},
                                         JunkCase{"ClosePackedHeaders", Bytes().big(0xFFFB'90, 3).all()},
                                         JunkCase{"SmallestTags",
                                                  Bytes().text("ID3").big(0x0400'00, 3).big(0, 4).all()},
                                         JunkCase{"TagsAndPackets", Bytes()
                                                                        .text("ID3")
                                                                        .big(0x0400'00, 3)
                                                                        .big(10, 4)
                                                                        .repeat(std::byte{0xFF}, 10)
                                                                        .big(0xFFFB'9000, 4)
                                                                        .repeat(std::byte{0}, 413)
                                                                        .all()},
                                         JunkCase{"TagsBehind", Bytes().text("TAG").repeat(std::byte{0}, 125).all()}),
                         caseName);

TEST(ChunkWalker, GivesUpInAFileOfTinyChunks) {
  constexpr std::uint64_t kMostReads = 40'000;
  for (const std::size_t chunks : {20'000, 400'000}) {
    Bytes wav;
    Bytes aiff;
    wav.text("RIFF").little(0, 4).text("WAVE");
    aiff.text("FORM").big(0, 4).text("AIFF");
    for (std::size_t i = 0; i < chunks; ++i) {
      wav.text("junk").little(0, 4);
      aiff.text("junk").big(1, 4).big(0, 2);
    }
    const CountingSource wavSource(wav.all());
    const CountingSource aiffSource(aiff.all());
    EXPECT_EQ(readWavLayout(wavSource), std::unexpected(kAudioFileInvalidFileError));
    EXPECT_EQ(readAiffLayout(aiffSource), std::unexpected(kAudioFileInvalidFileError));
    EXPECT_LE(wavSource.reads(), kMostReads);
    EXPECT_LE(aiffSource.reads(), kMostReads);
  }
}

/// Silence in the smallest blocks: two megabytes of them.
class HostileFlac : public testing::Test {
 protected:
  HostileFlac() {
    bench_.run("sox -D -n -r 44100 -c 1 -b 16 in.wav trim 0 60");
    bench_.run("flac --silent --lax --no-padding --no-seektable -b 16 -o in.flac in.wav");
    flac_ = bench_.bytesOf("in.flac");
    constexpr std::array kSync = {std::byte{0xFF}, std::byte{0xF8}};
    for (auto at = flac_.begin();; ++at) {
      at = std::search(at, flac_.end(), kSync.begin(), kSync.end());
      if (at == flac_.end()) break;
      blocks_.push_back(static_cast<std::size_t>(at - flac_.begin()));
    }
  }

  void SetUp() override {
    ASSERT_GT(flac_.size(), 1'500'000U);
    ASSERT_GT(blocks_.size(), 150'000U);
  }

  /// Takes the announcement of the length out of the stream's start.
  void hideLength() {
    constexpr std::size_t kLengthAt = 8 + 13;
    flac_[kLengthAt] &= std::byte{0xF0};
    std::fill_n(flac_.begin() + kLengthAt + 1, 4, std::byte{0});
  }

  /// Spoils the checksum of every block from this one on.
  void damageBlocks(std::size_t first) {
    for (std::size_t i = first + 1; i < blocks_.size(); ++i) flac_[blocks_[i] - 1] ^= std::byte{1};
  }

  Workbench bench_;
  std::vector<std::byte> flac_;
  std::vector<std::size_t> blocks_;
};

TEST_F(HostileFlac, WithoutAnyWholeBlockIsOpenedWithoutReadingItAll) {
  damageBlocks(0);
  const auto source = std::make_shared<CountingSource>(flac_);
  EXPECT_TRUE(FlacTrack::open(source, 0, FlacTrack::Container::none));
  EXPECT_LE(source->bytesRead(), 512U * 1024);
}

TEST_F(HostileFlac, OfDamageAloneBehindItsMusicIsGivenUp) {
  hideLength();
  damageBlocks(1000);
  flac_.insert(flac_.begin() + static_cast<std::ptrdiff_t>(blocks_[1000]), 10, std::byte{0});
  const auto source = std::make_shared<CountingSource>(flac_);
  const auto track = FlacTrack::open(source, 0, FlacTrack::Container::none);
  ASSERT_TRUE(track);
  ASSERT_TRUE((*track)->frameCount());
  // Counted once, and decoded up to the damage.
  std::vector<std::byte> samples(*(*track)->frameCount() * sizeof(float));
  ReadingProgress progress;
  const auto start = (*track)->decodeStart(samples, kSerial, progress);
  EXPECT_EQ(start.frames, std::unexpected(kAudioFileInvalidFileError));
  EXPECT_LE(start.blocksTried, 1001U);
  EXPECT_LE(source->bytesRead(), source->size() * 5 / 4 + 1024U * 1024);
}

TEST_F(HostileFlac, ButWithALargeTagOfAnyBytesBehindPlays) {
  hideLength();
  const auto tagged = Bytes().append(flac_).append(SeededRandom(22).bytes(4'000'000)).all();
  const auto track = FlacTrack::open(std::make_shared<MemorySource>(tagged), 0, FlacTrack::Container::none);
  ASSERT_TRUE(track);
  EXPECT_EQ((*track)->frameCount(), 60U * 44100);
}

}  // namespace
}  // namespace tolvane::test
