#include "platform/FileExcerpt.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <set>

#include "platform/FileURL.h"
#include "platform/MusicTags.h"

namespace tolvane {
namespace {

FileExcerpt part(std::uint32_t first, std::optional<std::uint32_t> end = std::nullopt) {
  return {.first = first, .end = end};
}

FileExcerpt named() {
  return {.first = 10, .end = 20, .title = "T\u00e4itle", .artist = "Artist", .album = "Album", .trackNumber = 3};
}

TEST(FileExcerpts, CountExactFramesAtUsualRates) {
  struct Case {
    double rate;
    std::uint64_t framesOfASector;
  };
  for (const auto& [rate, frames] :
       {Case{44100, 588}, Case{48000, 640}, Case{88200, 1176}, Case{96000, 1280}, Case{192000, 2560}, Case{22050, 294}})
    EXPECT_EQ(framesOf(part(100, 101), rate, 1'000'000), (FrameRange{100 * frames, 101 * frames})) << rate;
}

TEST(FileExcerpts, OfOneFileShareNoFrameAndLeaveNoneOut) {
  for (const double rate : {8000.0, 44100.0, 44056.0, 37286.5, 1.0, 384000.0}) {
    const auto frames = static_cast<std::uint64_t>(rate * 100);
    std::uint64_t next = 0;
    for (std::uint32_t sector = 0; sector < 7000; sector += 7) {
      const auto range = framesOf(part(sector, sector + 7), rate, frames);
      EXPECT_EQ(range.first, next) << rate;
      next = range.end;
    }
    EXPECT_EQ(framesOf(part(7000), rate, frames), (FrameRange{next, frames})) << rate;
  }
}

TEST(FileExcerpts, BeginAtTheFrameInWhichTheirSectorBegins) {
  EXPECT_EQ(framesOf(part(1, 2), 8000, 1000), (FrameRange{106, 213})) << "at frames 106.67 and 213.33";
}

TEST(FileExcerpts, EndWithTheirFile) {
  EXPECT_EQ(framesOf(part(1, 3), 75, 2), (FrameRange{1, 2}));
  EXPECT_EQ(framesOf(part(2), 75, 2), (FrameRange{2, 2})) << "empty";
  EXPECT_EQ(framesOf(part(900), 75, 2), (FrameRange{2, 2})) << "empty";
  EXPECT_EQ(framesOf(part(0), 75, 0), (FrameRange{0, 0}));
}

TEST(FileExcerpts, OfImpossibleRatesAreEmptyOrWhole) {
  const double infinite = std::numeric_limits<double>::infinity();
  for (const double rate : {std::nan(""), infinite, -infinite, -44100.0, 0.0, 1e300}) {
    const auto range = framesOf(part(7, 9), rate, 1000);
    EXPECT_LE(range.first, range.end) << rate;
    EXPECT_LE(range.end, 1000U) << rate;
  }
}

TEST(FileExcerpts, AreStoredAsBytes) {
  for (const FileExcerpt& excerpt : {named(), part(0), part(0, 1), part(4'000'000'000)})
    EXPECT_EQ(decodedExcerpt(encodedExcerpt(excerpt)), excerpt);
}

TEST(FileExcerpts, AreNotMadeOfOtherBytes) {
  const std::string bytes = encodedExcerpt(named());
  for (std::size_t length = 0; length < bytes.size(); ++length)
    EXPECT_EQ(decodedExcerpt(bytes.substr(0, length)), std::nullopt) << length;
  EXPECT_EQ(decodedExcerpt(bytes + 'x'), std::nullopt);
  std::string damaged = encodedExcerpt({.end = 1, .title = "Title", .album = "Album"});
  damaged[damaged.find("Title") + 6] = '\x02';
  EXPECT_EQ(decodedExcerpt(damaged), std::nullopt) << "the artist would be longer than what is left";
  EXPECT_EQ(decodedExcerpt(encodedExcerpt(part(20, 20))), std::nullopt) << "it would be empty";
  EXPECT_EQ(decodedExcerpt(encodedExcerpt({.trackNumber = -1})), std::nullopt);
}

TEST(FileExcerpts, AreNotMadeOfTextsThatNoSheetGives) {
  EXPECT_NE(decodedExcerpt(encodedExcerpt({.title = std::string(2048, 'x')})), std::nullopt);
  EXPECT_EQ(decodedExcerpt(encodedExcerpt({.title = std::string(2049, 'x')})), std::nullopt);
  for (const std::string& text : {std::string("two\nlines"), std::string("a\0b", 3), std::string("\x1b[2J")}) {
    EXPECT_EQ(decodedExcerpt(encodedExcerpt({.title = text})), std::nullopt);
    EXPECT_EQ(decodedExcerpt(encodedExcerpt({.artist = text})), std::nullopt);
    EXPECT_EQ(decodedExcerpt(encodedExcerpt({.album = text})), std::nullopt);
  }
}

TEST(TagsOfTracks, AreTheSheetsAndOfAWholeFileItsOwnArtist) {
  const MusicTags own{.title = "File", .artist = "Singer", .album = "Disc", .trackNumber = 7};
  const auto tagsOf = [&own](const FileExcerpt& excerpt) { return tagsOfTrack(own, FileURL("/a.flac", excerpt)); };
  EXPECT_EQ(tagsOf({.title = "Song", .artist = "Various", .album = "Hits", .trackNumber = 2}),
            (MusicTags{.title = "Song", .artist = "Singer", .album = "Hits", .trackNumber = 2}));
  EXPECT_EQ(tagsOf({.first = 1, .title = "Song", .artist = "Various"}),
            (MusicTags{.title = "Song", .artist = "Various", .album = "Disc", .trackNumber = {}}));
  EXPECT_EQ(tagsOfTrack({}, FileURL("/a.flac", FileExcerpt{.artist = "Various"})).artist, "Various");
}

TEST(FileURLs, WithAnExcerptAreOthersThanTheFile) {
  const FileURL file("/a.flac");
  const FileURL first("/a.flac", part(0, 10));
  const FileURL second("/a.flac", part(10));
  EXPECT_NE(file, first);
  EXPECT_NE(first, second);
  EXPECT_EQ(first, FileURL("/a.flac", part(0, 10)));
  EXPECT_NE(first, FileURL("/b.flac", part(0, 10)));
  EXPECT_NE(second, FileURL("/a.flac", FileExcerpt{.first = 10, .title = "Another"}));
  EXPECT_EQ(first.file(), file);
  EXPECT_EQ(FileURL(first), first);
  const std::set<FileURL> all{second, first, file, FileURL("/b.flac"), first};
  EXPECT_THAT(all, testing::ElementsAre(file, first, second, FileURL("/b.flac")));
}

TEST(FileURLs, KnowWhetherTheyArePartOfAFile) {
  EXPECT_FALSE(FileURL("/a.flac").isPartOfFile());
  EXPECT_FALSE(FileURL("/a.flac", part(0)).isPartOfFile());
  EXPECT_TRUE(FileURL("/a.flac", part(0, 10)).isPartOfFile());
  EXPECT_TRUE(FileURL("/a.flac", part(1)).isPartOfFile());
  EXPECT_EQ(FileURL("/a.flac", named()).absoluteString(), "file:///a.flac");
}

}  // namespace
}  // namespace tolvane
