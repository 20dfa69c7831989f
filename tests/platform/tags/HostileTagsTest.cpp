// Tags that were made to be read for ever, or to fill the memory. What they cost is counted, never timed.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/tags/Pictures.h"
#include "platform/tags/SystemMusicTags.h"
#include "platform/tags/TaggedFile.h"
#include "tests/platform/tags/TagBytes.h"
#include "tests/support/SeededRandom.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {
namespace {

constexpr std::uint64_t twoGiB = std::uint64_t{2} << 30U;

/// Some bytes, and zeros up to a size that no memory has.
class PaddedSource final : public ByteSource {
 public:
  PaddedSource(ByteVector bytes, std::uint64_t size) : bytes_(std::move(bytes)), size_(size) {}

  [[nodiscard]] std::uint64_t size() const override { return size_; }
  [[nodiscard]] std::expected<std::size_t, OSStatus> readAt(std::uint64_t offset,
                                                            std::span<std::byte> destination) const override {
    if (offset >= size_) return 0;
    const auto count = std::min<std::uint64_t>(destination.size(), size_ - offset);
    for (std::uint64_t i = 0; i < count; ++i)
      destination[i] = offset + i < bytes_.size() ? bytes_[offset + i] : std::byte{0};
    bytesRead_ += count;
    return count;
  }
  [[nodiscard]] std::uint64_t bytesRead() const { return bytesRead_; }

 private:
  const ByteVector bytes_;
  const std::uint64_t size_;
  mutable std::uint64_t bytesRead_ = 0;
};

TEST(HostileTags, APictureThatClaimsGigabytesIsNotRead) {
  const auto frame = Bytes().text("APIC").big(twoGiB - 1, 4).big(0, 2).append(id3Picture(3, jpegBytes("x"))).all();
  for (const int version : {3, 4}) {
    const PaddedSource source(id3Tag(frame, version, 0, (1 << 28) - 1), 3 * twoGiB);
    EXPECT_FALSE(readEmbeddedCover(source));
    EXPECT_LT(source.bytesRead(), 4 * maximumPictureBytes);
  }
}

TEST(HostileTags, APictureWhoseLengthLiesIsNoCover) {
  EXPECT_FALSE(readEmbeddedCover(MemorySource(flacWith({{6, flacPicture(3, jpegBytes("x"), 0x7FFFFFFF)}}))));
  const auto inLongBlock = readEmbeddedCover(MemorySource(flacWith({{6, flacPicture(3, jpegBytes("x")), 0xFFFFFF}})));
  ASSERT_TRUE(inLongBlock);
  EXPECT_EQ(inLongBlock->bytes, jpegBytes("x"));
}

TEST(HostileTags, ManyPicturesAreNotAllRead) {
  std::vector<FlacBlock> blocks(500, {6, flacPicture(8, ByteVector(100'000, std::byte{'a'}))});
  blocks.push_back({6, flacPicture(3, jpegBytes("front"))});
  const CountingSource source(flacWith(blocks));
  EXPECT_FALSE(readEmbeddedCover(source));
  EXPECT_LT(source.bytesRead(), 2'000'000U);
}

TEST(HostileTags, ATitleOfTenMegabytesIsCut) {
  const std::string endless(10'000'000, 'x');
  const auto title = [](const ByteVector& file) { return readMusicTags(MemorySource(file)).title; };
  const auto inID3 = title(id3Tag(id3Frame("TIT2", id3Text(3, endless), 3), 3));
  EXPECT_TRUE(inID3.starts_with("xxx"));
  EXPECT_LT(inID3.size(), 500U);
  const auto inINFO = title(WavFile().format(1, 2, 44100, 4, 16).chunk("LIST", infoList({{"INAM", endless}})).bytes());
  EXPECT_TRUE(inINFO.starts_with("xxx"));
  EXPECT_LT(inINFO.size(), 500U);
  EXPECT_LT(title(flacWith({{4, vorbisComment({"TITLE=" + endless})}})).size(), 500U);
}

TEST(HostileTags, CutTextsAreWholeCharacters) {
  std::string notes;
  for (int i = 0; i < 1000; ++i) notes += "\U0001D11E";  // a clef, which takes two units of UTF-16
  for (const std::string before : {"", "x"}) {
    const auto title = readMusicTags(MemorySource(flacWith({{4, vorbisComment({"TITLE=" + before + notes})}}))).title;
    EXPECT_TRUE(title.ends_with("\U0001D11E\u2026")) << title;
  }
}

TEST(HostileTags, TextsThatAreNotUTF8DoNoHarm) {
  const auto tags = readMusicTags(
      MemorySource(flacWith({{4, vorbisComment({"TITLE=\xFF\xFE\xC0\x80 \xED\xA0\x80", "ALBUM=Slow Water"})}})));
  EXPECT_EQ(tags.album, "Slow Water");
  EXPECT_LT(tags.title.size(), 50U);
}

TEST(HostileTags, TornSurrogatesDoNoHarm) {
  const auto frames = joined(
      {id3Frame("TIT2", id3Text(1, {"\xFF\xFE\x00\xD8\x41\x00", 6})), id3Frame("TALB", id3Text(0, "Slow Water"))});
  EXPECT_EQ(readMusicTags(MemorySource(id3Tag(frames))).album, "Slow Water");
}

TEST(HostileTags, CompressedFramesArePassedOver) {
  const auto frames =
      joined({id3Frame("TIT2", id3Text(0, "\x78\x9C bomb"), 4, 0x0008),
              id3Frame("TPE1", id3Text(0, "secret"), 4, 0x0004), id3Frame("TALB", id3Text(0, "Slow Water"))});
  const auto tags = readMusicTags(MemorySource(id3Tag(frames)));
  EXPECT_EQ(tags.title, "");
  EXPECT_EQ(tags.artist, "");
  EXPECT_EQ(tags.album, "Slow Water");
}

TEST(HostileTags, CommentsThatClaimToBeManyEndWithTheirBytes) {
  const auto file = flacWith({{4, vorbisComment({"TITLE=Vespers"}, 0x7FFFFFFF)}});
  EXPECT_EQ(readMusicTags(MemorySource(file)).title, "");
}

TEST(HostileTags, MillionsOfFramesAndBlocksAreNotAllLookedAt) {
  const auto frame = id3Frame("TXXX", {});
  Bytes frames;
  for (int i = 0; i < 200'000; ++i) frames.append(frame);
  const CountingSource frameSource(id3Tag(frames.all()));
  EXPECT_EQ(readMusicTags(frameSource), MusicTags());
  EXPECT_LT(frameSource.reads(), 10'000U);

  const CountingSource blockSource(flacWith(std::vector<FlacBlock>(200'000, {2, {}})));
  EXPECT_EQ(readMusicTags(blockSource), MusicTags());
  EXPECT_LT(blockSource.reads(), 10'000U);
}

TEST(HostileTags, EveryTruncationIsReadWithoutHarm) {
  const auto frames = joined({id3Frame("TIT2", id3Text(1, {"\xFF\xFE\x41\x00", 4})), id3Frame("TRCK", id3Text(0, "3")),
                              id3Frame("APIC", id3Picture(3, jpegBytes("x")))});
  const std::vector<ByteVector> files = {
      id3Tag(frames), id3Tag(frames, 3, 0x80),
      flacWith({{4, vorbisComment({"TITLE=Vespers"})}, {6, flacPicture(3, jpegBytes("x"))}}),
      WavFile()
          .format(1, 2, 44100, 4, 16)
          .chunk("LIST", infoList({{"INAM", "Vespers"}}))
          .chunk("id3 ", id3Tag(frames))
          .bytes(),
      AiffFile().common(2, 16, 16, 44100).chunk("NAME", textBytes("Vespers")).chunk("ID3 ", id3Tag(frames)).bytes()};
  int read = 0;
  for (const ByteVector& file : files) {
    for (std::size_t length = 0; length <= file.size(); ++length) {
      const MemorySource source(ByteVector(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)));
      const auto tags = readMusicTags(source);
      const auto cover = readEmbeddedCover(source);
      EXPECT_TRUE(tags.title.size() < 20 && (!cover || cover->bytes.size() < 20));
      ++read;
    }
  }
  EXPECT_GT(read, 500);
}

TEST(HostileTags, ChangedBytesAreReadWithoutHarm) {
  const auto frames =
      joined({id3Frame("TIT2", id3Text(3, "Vespers")), id3Frame("APIC", id3Picture(3, jpegBytes("x")))});
  const std::vector<ByteVector> files = {
      id3Tag(frames), flacWith({{4, vorbisComment({"TITLE=Vespers"})}, {6, flacPicture(3, jpegBytes("x"))}}),
      WavFile().format(1, 2, 44100, 4, 16).chunk("LIST", infoList({{"INAM", "Vespers"}})).bytes()};
  SeededRandom random(7);
  for (const ByteVector& file : files) {
    for (int i = 0; i < 3000; ++i) {
      ByteVector changed = file;
      for (int change = 0; change < 3; ++change)
        changed[random.below(changed.size())] = static_cast<std::byte>(random.below(256));
      const MemorySource source(changed);
      EXPECT_LT(readMusicTags(source).title.size(), 500U);
      const auto cover = readEmbeddedCover(source);
      EXPECT_TRUE(!cover || cover->bytes.size() <= file.size());
    }
  }
}

TEST(HostileTags, NothingButRegularFilesIsOpened) {
  const TemporaryFolder folder;
  const FileURL pipe = folder.url("pipe.flac");
  ASSERT_EQ(::mkfifo(pipe.path().c_str(), 0600), 0);
  const SystemMusicTags reader;
  for (const FileURL& url : {pipe, FileURL("/dev/zero"), FileURL(folder.path().string()), folder.url("missing.flac")}) {
    EXPECT_EQ(reader.tags(url, {}), MusicTags());
    EXPECT_FALSE(reader.cover(url, {}));
  }
}

TEST(HostileTags, AReaderThatWasStoppedGivesNothing) {
  const TemporaryFolder folder;
  const auto url = folder.write("a.flac", flacWith({{4, vorbisComment({"TITLE=Vespers"})}}));
  folder.write("cover.jpg", jpegBytes("x"));
  std::stop_source stop;
  const SystemMusicTags reader;
  EXPECT_EQ(reader.tags(url, stop.get_token()).title, "Vespers");
  stop.request_stop();
  EXPECT_EQ(reader.tags(url, stop.get_token()), MusicTags());
  EXPECT_FALSE(reader.cover(url, stop.get_token()));
}

}  // namespace
}  // namespace tolvane::test
