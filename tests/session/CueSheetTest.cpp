#include "session/CueSheet.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <random>

#include "session/AudioFileDiscovery.h"
#include "session/PlaylistFile.h"
#include "session/SheetText.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::string_view album = R"(REM GENRE Classical
PERFORMER "Trio Nord"
TITLE "Evening Music"
FILE "Evening Music.wav" WAVE
  TRACK 01 AUDIO
    TITLE "Arrival"
    INDEX 01 00:00:00
  TRACK 02 AUDIO
    TITLE "Interlude"
    PERFORMER "Trio Nord, Anna Berg"
    ISRC DEXXX0000002
    INDEX 00 03:58:10
    INDEX 01 04:00:20
  TRACK 03 AUDIO
    TITLE "Departure"
    INDEX 01 75:00:74
)";

/// "file 0-300": its sectors; an open end is left out.
std::string placeOf(const std::string& file, const FileExcerpt& part) {
  return file + ' ' + std::to_string(part.first) + '-' + (part.end ? std::to_string(*part.end) : "");
}

std::vector<std::string> places(std::string_view sheet) {
  std::vector<std::string> all;
  for (const CueTrack& track : cueTracks(sheet)) all.push_back(placeOf(track.file, track.part));
  return all;
}

std::vector<std::string> titles(std::string_view sheet) {
  std::vector<std::string> all;
  for (const CueTrack& track : cueTracks(sheet)) all.push_back(track.part.title);
  return all;
}

/// A sheet of one file with tracks that begin at these places.
std::string sheetOf(std::initializer_list<const char*> starts) {
  std::string text = "FILE a.wav WAVE\n";
  int number = 0;
  for (const char* start : starts) text += "TRACK " + std::to_string(++number) + " AUDIO\nINDEX 01 " + start + '\n';
  return text;
}

TEST(CueSheet, NamesTheTracksOfAFile) {
  const auto tracks = cueTracks(album);
  ASSERT_THAT(tracks, SizeIs(3));
  const std::string file = "Evening Music.wav";
  const std::string name = "Evening Music";
  EXPECT_EQ(
      tracks[0],
      (CueTrack{
          file,
          {.first = 0, .end = 18020, .title = "Arrival", .artist = "Trio Nord", .album = name, .trackNumber = 1}}));
  EXPECT_EQ(tracks[1], (CueTrack{file,
                                 {.first = 18020,
                                  .end = 337574,
                                  .title = "Interlude",
                                  .artist = "Trio Nord, Anna Berg",
                                  .album = name,
                                  .trackNumber = 2}}));
  EXPECT_EQ(
      tracks[2],
      (CueTrack{file, {.first = 337574, .title = "Departure", .artist = "Trio Nord", .album = name, .trackNumber = 3}}))
      << "the last track has no end";
}

TEST(CueSheet, LeavesWhatLiesBeforeTheFirstTrackToNone) {
  EXPECT_THAT(places(sheetOf({"00:02:00", "01:00:00"})), ElementsAre("a.wav 150-4500", "a.wav 4500-"));
}

TEST(CueSheet, MayNameSeveralFiles) {
  EXPECT_THAT(places("FILE \"1.wav\" WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 00:01:00\n"
                     "FILE \"2.wav\" WAVE\nTRACK 03 AUDIO\nINDEX 01 00:00:00\n"),
              ElementsAre("1.wav 0-75", "1.wav 75-", "2.wav 0-"));
}

TEST(CueSheet, GivesAPregapAtTheEndOfAFileToTheTrackBefore) {
  EXPECT_THAT(places("FILE \"1.wav\" WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 00 03:00:00\n"
                     "FILE \"2.wav\" WAVE\nINDEX 01 00:00:00\nTRACK 03 AUDIO\nINDEX 00 02:00:00\n"
                     "FILE \"3.wav\" WAVE\nINDEX 01 00:00:00\n"),
              ElementsAre("1.wav 0-", "2.wav 0-", "3.wav 0-"));
}

TEST(CueSheet, LeavesOutDataTracksButEndsAtThem) {
  EXPECT_THAT(places("FILE a.bin BINARY\nTRACK 01 MODE1/2352\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 01:00:00\n"
                     "TRACK 03 audio\nINDEX 01 02:00:00\nTRACK 04 MODE2/2352\nINDEX 01 03:00:00\n"),
              ElementsAre("a.bin 4500-9000", "a.bin 9000-13500"));
}

TEST(CueSheet, LeavesOutTracksThatDoNotBeginBehindTheOneBefore) {
  EXPECT_THAT(places(sheetOf({"00:10:00", "00:10:00", "00:05:00", "00:20:00"})),
              ElementsAre("a.wav 750-1500", "a.wav 1500-"));
}

TEST(CueSheet, MayComeBackToAFile) {
  EXPECT_THAT(places("FILE a.wav WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\nFILE b.wav WAVE\nTRACK 2 AUDIO\n"
                     "INDEX 01 00:00:00\nFILE a.wav WAVE\nTRACK 3 AUDIO\nINDEX 01 00:02:00\nTRACK 4 AUDIO\n"
                     "INDEX 01 00:01:00\n"),
              ElementsAre("a.wav 0-150", "b.wav 0-", "a.wav 150-"))
      << "no two tracks share a part of it";
}

TEST(CueSheet, LeavesOutTracksWithoutAPlace) {
  for (const char* place : {"", "x", "00:00", "00:60:00", "00:00:75", "-1:00:00", "00:00:00x", "00 00 00",
                            "0:0:", "10000:00:00", "99999999999:00:00", "00:-1:00"})
    EXPECT_THAT(places(sheetOf({place, "00:01:00"})), ElementsAre("a.wav 75-")) << place;
  EXPECT_THAT(places(sheetOf({"9999:59:74"})), ElementsAre("a.wav 44999999-"));
  EXPECT_THAT(places("TRACK 1 AUDIO\nINDEX 01 00:00:00\nFILE a.wav WAVE\n"), IsEmpty()) << "of no file";
  EXPECT_THAT(places("FILE a.wav WAVE\nINDEX 01 00:00:00\n"), IsEmpty()) << "of no track";
  EXPECT_THAT(places("FILE a.wav WAVE\nTRACK 1 AUDIO\nINDEX 00 00:00:00\nINDEX 02 00:01:00\n"), IsEmpty());
}

TEST(CueSheet, CountsTheFirstPlaceOfATrack) {
  EXPECT_THAT(places("FILE a.wav WAVE\nTRACK 1 AUDIO\nINDEX 01 00:01:00\nINDEX 02 00:02:00\nINDEX 01 00:03:00\n"),
              ElementsAre("a.wav 75-"));
}

TEST(CueSheet, IsReadInEverySpelling) {
  EXPECT_THAT(places("file a.wav wave\r\n\ttrack 1 audio\r\n  Index 1 0:1:0\r\n"), ElementsAre("a.wav 75-"));
  EXPECT_THAT(places("FILE a.wav WAVE\rTRACK 01 AUDIO\rINDEX 01 00:00:00"), ElementsAre("a.wav 0-"));
  EXPECT_THAT(places("FILE My long name.flac WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n"),
              ElementsAre("My long name.flac 0-"));
  EXPECT_THAT(places("FILE \"a \"b\" c.wav\" WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n"),
              ElementsAre("a \"b\" c.wav 0-"));
  EXPECT_THAT(places("FILE a.wav\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n"), ElementsAre("a.wav 0-"));
  EXPECT_THAT(
      titles("FILE a.wav WAVE\nTRACK 1 AUDIO\nTITLE Bare words\nINDEX 01 00:00:00\nTRACK 2 AUDIO\n"
             "TITLE \"The \"Real\" Thing\"\nINDEX 01 00:01:00\nTRACK 3 AUDIO\nTITLE \"Open\nINDEX 01 00:02:00\n"),
      ElementsAre("Bare words", "The \"Real\" Thing", "Open"));
}

TEST(CueSheet, NamesTracksWithoutATitleByTheirNumber) {
  EXPECT_THAT(titles(sheetOf({"00:00:00", "00:01:00"})), ElementsAre("Track 01", "Track 02"));
  EXPECT_THAT(titles("FILE a.wav WAVE\nTRACK x AUDIO\nINDEX 01 00:01:00\n"), ElementsAre("Track"));
  EXPECT_THAT(titles(sheetOf({"00:00:00"})), ElementsAre("")) << "a whole file has a name";
}

TEST(CueSheet, IsReadInItsEncoding) {
  const std::string line = "FILE a.wav WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\nTITLE ";
  EXPECT_THAT(titles("\xEF\xBB\xBF" + line + "H\xC3\xB6he"), ElementsAre("H\u00f6he"));
  EXPECT_THAT(titles(line + "H\xC3\xB6he"), ElementsAre("H\u00f6he"));
  EXPECT_THAT(titles(line + "H\xF6he \x96 \x80 \x81"), ElementsAre("H\u00f6he \u2013 \u20ac \uFFFD"));
  std::string little("\xFF\xFE", 2);
  std::string big("\xFE\xFF", 2);
  for (const char letter : line + "x") {
    little += {letter, '\0'};
    big += {'\0', letter};
  }
  EXPECT_THAT(titles(little + std::string("\xF6\0\x3C\xD8\xB5\xDF\x00\xD8", 8)),
              ElementsAre("x\u00f6\U0001F3B5\uFFFD"));
  EXPECT_THAT(titles(big + std::string("\0\xF6\xD8\x3C\xDF\xB5\0", 7)), ElementsAre("x\u00f6\U0001F3B5"));
}

TEST(CueSheet, GivesTextsOfOneLineThatCanBeShown) {
  using std::string_view_literals::operator""sv;
  EXPECT_EQ(shownLine("  a\tb \x1b[31m "), "a b \uFFFD[31m");
  EXPECT_EQ(shownLine("\0"sv), "\uFFFD");
  EXPECT_EQ(shownLine(" \t"), "");
  std::string notes;
  for (int i = 0; i < 1000; ++i) notes += "\u266B";
  EXPECT_EQ(shownLine(notes), notes.substr(0, 1200) + "\u2026") << "no character is cut in two";
}

TEST(CueSheet, OfOtherBytesIsHarmless) {
  std::mt19937 random(7);
  const std::string valid(album);
  for (int round = 0; round < 2000; ++round) {
    std::string text = valid;
    for (int i = 0; i < 8; ++i) text[random() % text.size()] = static_cast<char>(random());
    text.resize(random() % (text.size() + 1));
    for (const CueTrack& track : cueTracks(text)) {
      EXPECT_TRUE(!track.part.end || *track.part.end > track.part.first);
      EXPECT_TRUE(isUTF8(track.part.title) && isUTF8(track.part.artist) && isUTF8(track.part.album));
      EXPECT_EQ(decodedExcerpt(encodedExcerpt(track.part)), track.part);
    }
  }
  EXPECT_THAT(cueTracks(""), IsEmpty());
  EXPECT_THAT(cueTracks("\xFF\xFE"), IsEmpty());
  EXPECT_THAT(cueTracks(std::string(1000, '"')), IsEmpty());
}

TEST(CueSheet, OfTooManyTracksIsReadUpToABound) {
  std::string text = "FILE a.wav WAVE\n";
  for (int track = 0; track < 40'000; ++track)
    text += "TRACK 1 AUDIO\nINDEX 1 " + std::to_string(track / 60) + ':' + std::to_string(track % 60) + ":0\n";
  const auto tracks = cueTracks(text);
  ASSERT_THAT(tracks, SizeIs(maximumCueTracks));
  EXPECT_EQ(tracks.back().part.first, (maximumCueTracks - 1) * FileExcerpt::sectorsPerSecond);
}

TEST(CueSheet, ANameThatNoFileCanHaveNamesNoFile) {
  const auto sheetOf = [](std::size_t length) {
    return "FILE \"" + std::string(length, 'a') + "\" WAVE\nTRACK 1 AUDIO\nINDEX 1 0:0:0\n";
  };
  EXPECT_THAT(cueTracks(sheetOf(4095)), SizeIs(1));
  EXPECT_THAT(cueTracks(sheetOf(4096)), IsEmpty());
  EXPECT_THAT(cueTracks("FILE a.wav WAVE\n" + sheetOf(900'000)), IsEmpty()) << "nor the file before it";
}

TEST(CueSheet, OfALongTextTheStartIsKeptInEveryEncoding) {
  const auto titleOf = [](const std::string& title) {
    return cueTracks("FILE a.wav WAVE\nTRACK 1 AUDIO\nTITLE \"" + title + "\"\nINDEX 1 0:0:1\n").at(0).part.title;
  };
  const auto repeated = [](const std::string& character, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += character;
    return text;
  };
  for (const std::string character : {"a", "\u00e9", "\u266b", "\U0001d11e"})
    for (const int count : {400, 401, 511, 512, 513, 1025, 100'000})
      EXPECT_EQ(titleOf(repeated(character, count)), repeated(character, 400) + (count > 400 ? "\u2026" : ""))
          << character << " x " << count;
  EXPECT_EQ(titleOf("x" + repeated("\u266b", 1000)), "x" + repeated("\u266b", 399) + "\u2026");
  EXPECT_EQ(titleOf(std::string(5000, '\xE9')), repeated("\u00e9", 400) + "\u2026") << "Windows-1252";
}

class CueFiles : public testing::Test {
 protected:
  /// Where the tracks of a sheet with this FILE lie, relative to the folder.
  [[nodiscard]] std::vector<std::string> found(const std::string& name) const {
    std::vector<std::string> paths;
    for (const FileURL& url : read("FILE \"" + name + "\" WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n"))
      paths.push_back(std::filesystem::relative(url.path(), folder.path()).string());
    return paths;
  }
  [[nodiscard]] std::vector<FileURL> read(const std::string& sheet) const {
    return readPlaylistFile(folder.write("sheet.cue", sheet));
  }

  test::TemporaryFolder folder;
};

TEST_F(CueFiles, InTheStatedPlaceComeBeforeThoseOfTheSameNameElsewhere) {
  folder.write("CD2/image.flac", "x");
  folder.write("image.wav", "x");
  EXPECT_THAT(found("CD2/image.wav"), ElementsAre("CD2/image.flac"));
  EXPECT_THAT(found("CD2\\image.wav"), ElementsAre("CD2/image.flac"));
  EXPECT_THAT(found("D:\\Rips\\image.wav"), ElementsAre("image.wav"));
}

TEST_F(CueFiles, OfTwoNamesAreOneFile) {
  folder.write("a.wav", "x");
  const auto urls =
      read("FILE a.wav WAVE\nTRACK 1 AUDIO\nINDEX 1 0:0:0\nFILE A.WAV WAVE\nTRACK 2 AUDIO\nINDEX 1 3:0:0\n");
  ASSERT_THAT(urls, SizeIs(2));
  EXPECT_EQ(urls[0].excerpt()->end, 3 * 60 * FileExcerpt::sectorsPerSecond);
  EXPECT_EQ(urls[1].excerpt()->first, 3 * 60 * FileExcerpt::sectorsPerSecond);
}

TEST_F(CueFiles, AreNotListedAsAWholeByAPlaylistBesideTheSheet) {
  folder.write("a.wav", "x");
  folder.write("b.wav", "x");
  const std::vector<FileURL> opened{
      folder.write("a.m3u", "b.wav\na.wav\n"),
      folder.write("a.cue", "FILE a.wav WAVE\nTRACK 1 AUDIO\nINDEX 1 0:0:0\nTRACK 2 AUDIO\nINDEX 1 1:0:0\n")};
  const auto urls = collectSupportedAudioFiles(opened);
  ASSERT_THAT(urls, SizeIs(3));
  EXPECT_EQ(urls[0], folder.url("b.wav"));
  EXPECT_NE(urls[1].excerpt(), nullptr);
  EXPECT_NE(urls[2].excerpt(), nullptr);
}

TEST_F(CueFiles, AreFoundByTheNameInTheSheet) {
  folder.write("a.wav", "x");
  folder.write("CD 1/b.flac", "x");
  EXPECT_THAT(found("a.wav"), ElementsAre("a.wav"));
  EXPECT_THAT(found("CD 1/b.flac"), ElementsAre("CD 1/b.flac"));
  EXPECT_THAT(found("CD 1\\b.flac"), ElementsAre("CD 1/b.flac"));
  EXPECT_THAT(found(".\\CD 1\\..\\a.wav"), ElementsAre("a.wav"));
  EXPECT_THAT(found((folder.path() / "a.wav").string()), ElementsAre("a.wav"));
}

TEST_F(CueFiles, OfOtherSystemsAreFoundByTheirLastName) {
  folder.write("a.wav", "x");
  for (const char* name : {"C:\\Music\\Rips\\a.wav", "/home/somebody/a.wav", "\\\\server\\share\\a.wav"})
    EXPECT_THAT(found(name), ElementsAre("a.wav")) << name;
}

TEST_F(CueFiles, AreFoundInOtherLetters) {
  folder.write("ALBUM.Wav", "x");
  EXPECT_THAT(found("album.wav"), ElementsAre("ALBUM.Wav"));
}

TEST_F(CueFiles, ThatWereConvertedAreFound) {
  folder.write("a.mp3", "x");
  EXPECT_THAT(found("a.wav"), ElementsAre("a.mp3"));
  folder.write("a.flac", "x");
  EXPECT_THAT(found("a.wav"), ElementsAre("a.flac")) << "lossless before others";
  EXPECT_THAT(found("a.ape"), ElementsAre("a.flac"));
  EXPECT_THAT(found("D:\\a.bin"), ElementsAre("a.flac"));
  folder.write("a.wav", "x");
  EXPECT_THAT(found("a.wav"), ElementsAre("a.wav"));
  folder.write("a.bin", "x");
  EXPECT_THAT(found("a.bin"), ElementsAre("a.wav")) << "what is there is not played";
}

TEST_F(CueFiles, ThatAreNotThereCostTheirTracksAlone) {
  folder.write("a.wav", "x");
  folder.write("c.wav", "x");
  EXPECT_THAT(
      read("FILE a.wav WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\nFILE b.wav WAVE\nTRACK 2 AUDIO\nINDEX 01 00:00:00\n"
           "FILE c.wav WAVE\nTRACK 3 AUDIO\nTITLE C\nINDEX 01 00:00:00\n"),
      ElementsAre(FileURL(folder.url("a.wav").path(), FileExcerpt{.trackNumber = 1}),
                  FileURL(folder.url("c.wav").path(), FileExcerpt{.title = "C", .trackNumber = 3})));
}

TEST_F(CueFiles, AreFilesThatArePlayed) {
  folder.write("a.txt", "x");
  std::filesystem::create_directory(folder.path() / "b.wav");
  ::mkfifo((folder.path() / "c.wav").c_str(), 0600);
  for (const char* name : {"a.txt", "b.wav", "c.wav", "", ".", "..", "/", "\\", "sheet.cue", "/etc/passwd"})
    EXPECT_THAT(found(name), IsEmpty()) << name;
  EXPECT_THAT(found(std::string("a\0.wav", 6)), IsEmpty());
  EXPECT_THAT(found(std::string(10'000, 'n') + ".wav"), IsEmpty());
}

TEST_F(CueFiles, WithNamesInAnotherEncodingAreFound) {
  folder.write("H\u00f6he.wav", "x");
  EXPECT_THAT(found("H\xF6he.wav"), ElementsAre("H\u00f6he.wav"));
  folder.write("T\xF6ne.wav", "x");
  EXPECT_THAT(found("T\xF6ne.wav"), ElementsAre("T\xF6ne.wav")) << "as its bytes stand";
}

TEST_F(CueFiles, OfAHugeOrUnreadableSheetAreNone) {
  folder.write("a.wav", "x");
  EXPECT_THAT(read("FILE a.wav WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n" + std::string(maximumCueSheetBytes, ' ')),
              IsEmpty());
  EXPECT_THAT(readPlaylistFile(folder.url("missing.cue")), IsEmpty());
  std::filesystem::create_directory(folder.path() / "folder.cue");
  EXPECT_THAT(readPlaylistFile(folder.url("folder.cue")), IsEmpty());
}

TEST_F(CueFiles, InThousandsOfFoldersEndTheSearch) {
  std::string text;
  for (int i = 0; i < 5000; ++i) {
    const std::string name = "d" + std::to_string(i);
    text += "FILE " + name + "/a.wav WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n";
  }
  EXPECT_THAT(read(text), IsEmpty());
}

TEST_F(CueFiles, AreOpenedAsTracksOnceAndBehindOtherFiles) {
  folder.write("album.flac", "x");
  folder.write("z.wav", "x");
  folder.write("album.cue",
               "FILE album.flac WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\nTRACK 2 AUDIO\nINDEX 01 01:00:00\n");
  const FileURL first(folder.url("album.flac").path(), FileExcerpt{.end = 4500, .title = "Track 01", .trackNumber = 1});
  const FileURL second(folder.url("album.flac").path(),
                       FileExcerpt{.first = 4500, .title = "Track 02", .trackNumber = 2});
  const auto collected = [](std::vector<FileURL> urls) { return collectSupportedAudioFiles(urls); };
  EXPECT_THAT(collected({folder.url("album.cue")}), ElementsAre(first, second));
  EXPECT_THAT(collected({folder.url("album.cue"), folder.url("album.cue")}), ElementsAre(first, second));
  EXPECT_THAT(collected({folder.url("album.cue"), folder.url("z.wav"), folder.url("album.flac")}),
              ElementsAre(folder.url("z.wav"), first, second))
      << "the file is not there a second time as a whole";
  EXPECT_THAT(collected({FileURL(folder.path().string())}), ElementsAre(folder.url("album.flac"), folder.url("z.wav")))
      << "a folder is searched for music alone";
}

}  // namespace
}  // namespace tolvane
