#include "session/PlaylistFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <random>

#include "session/AudioFileDiscovery.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> paths(const std::vector<FileURL>& urls) {
  std::vector<std::string> all;
  for (const FileURL& url : urls) all.push_back(url.path());
  return all;
}

std::vector<std::string> entries(std::string_view text) { return paths(playlistEntries(text, "/music")); }

TEST(PlaylistFile, IsKnownByItsName) {
  EXPECT_TRUE(isPlaylistFile(FileURL("/a/list.m3u8")));
  EXPECT_TRUE(isPlaylistFile(FileURL("/a/List.M3U")));
  EXPECT_FALSE(isPlaylistFile(FileURL("/a/list.pls")));
  EXPECT_TRUE(isPlaylistFile(FileURL("/a/Album.Cue")));
  EXPECT_FALSE(isPlaylistFile(FileURL("/a/m3u8")));
  EXPECT_TRUE(isSavedPlaylistFile(FileURL("/a/List.M3U")));
  EXPECT_FALSE(isSavedPlaylistFile(FileURL("/a/album.cue")));
}

TEST(PlaylistFile, NamesTheFileOfItsPartsOnce) {
  const FileURL first("/music/a.flac", FileExcerpt{.end = 75, .title = "One"});
  const FileURL second("/music/a.flac", FileExcerpt{.first = 75, .title = "Two"});
  const FileURL whole("/music/c.flac", FileExcerpt{.title = "Whole"});
  const std::vector<FileURL> urls{first, FileURL("/music/b.wav"), second, whole};
  EXPECT_EQ(playlistText(urls, "/music", {{first, 1}, {second, 9}, {whole, 5}}),
            "#EXTM3U\na.flac\nb.wav\n#EXTINF:5,Whole\nc.flac\n");
}

TEST(PlaylistFile, NamesFilesInTheirOrder) {
  EXPECT_THAT(entries("#EXTM3U\n#EXTINF:123,Artist - Title\nb.flac\n/other/a.wav\r\n  sub/c.mp3  \n\nd.AIFF"),
              ElementsAre("/music/b.flac", "/other/a.wav", "/music/sub/c.mp3", "/music/d.AIFF"));
}

TEST(PlaylistFile, MayBeginWithAByteOrderMark) {
  EXPECT_THAT(entries("\xEF\xBB\xBF"
                      "a.wav\n"),
              ElementsAre("/music/a.wav"));
}

TEST(PlaylistFile, NamesFilesAsURIsToo) {
  EXPECT_THAT(entries("file:///x/a%20b.wav\nhttp://host/c.wav\nmms://d.wav\nfile://server/e.wav\n"),
              ElementsAre("/x/a b.wav"));
}

TEST(PlaylistFile, LeavesOutWhatIsNoMusicAndWhatIsRepeated) {
  EXPECT_THAT(entries("a.wav\ncover.jpg\nother.m3u8\na.wav\n./a.wav\n../a.wav\n"),
              ElementsAre("/music/a.wav", "/a.wav"));
}

TEST(PlaylistFile, OfOtherBytesIsHarmless) {
  using std::string_view_literals::operator""sv;
  EXPECT_THAT(entries("a\0b.wav\n\xFF\xFE.wav"sv), ElementsAre("/music/\xFF\xFE.wav"));
  EXPECT_THAT(entries(""), IsEmpty());
  EXPECT_THAT(entries("\n\r\n#"), IsEmpty());
}

TEST(PlaylistFile, WrittenIsRead) {
  const std::vector<FileURL> files{
      FileURL("/music/a.wav"),       FileURL("/music/sub/b.flac"),      FileURL("/elsewhere/c.mp3"),
      FileURL("/music/#1.wav"),      FileURL("/music/ blank .wav"),     FileURL("/music/two\nlines.wav"),
      FileURL("/music/file:d.wav"),  FileURL("/music/odd:/e.wav"),      FileURL("/musical/f.wav"),
      FileURL("/music/file:/g.wav"), FileURL("/music/back\\slash.wav"), FileURL("/music/end.wav ")};
  const std::vector<FileURL> music(files.begin(), files.end() - 1);  // the last one has no supported extension
  const std::string text = playlistText(files, "/music");
  EXPECT_EQ(paths(playlistEntries(text, "/music")), paths(music)) << text;
  EXPECT_THAT(text, testing::StartsWith("#EXTM3U\na.wav\nsub/b.flac\n/elsewhere/c.mp3\n./#1.wav\n"));
}

TEST(PlaylistFile, HasTheLengthsThatAreKnownWithTheTitles) {
  const std::vector files{FileURL("/music/a.wav"), FileURL("/music/two\nlines.wav"), FileURL("/x/c.mp3"),
                          FileURL("/music/\xFF.wav")};
  const std::string text = playlistText(
      files, "/music", {{files[0], 61.5}, {files[1], 0.2}, {files[3], 7200}, {FileURL("/music/other.wav"), 5}});
  EXPECT_EQ(text,
            "#EXTM3U\n#EXTINF:62,a\na.wav\n#EXTINF:0,two lines\nfile:///music/two%0Alines.wav\n/x/c.mp3\n"
            "#EXTINF:7200,\nfile:///music/%FF.wav\n");
  EXPECT_EQ(playlistEntries(text, "/music"), files);
}

TEST(PlaylistFile, KeepsAPathThatStepsBackBehindALink) {
  const std::vector files{FileURL("/music/link/../a.wav"), FileURL("/x/../b.wav")};
  EXPECT_EQ(playlistEntries(playlistText(files, "/music"), "/music"), files);
}

TEST(PlaylistFile, WrittenIsReadForAnyName) {
  std::mt19937 random(7);
  constexpr std::string_view letters = "a#/ \\:.\n\r\t%\xC3\xA9?;";
  int tried = 0;
  for (int round = 0; round < 2000; ++round) {
    std::string name;
    for (auto count = random() % 12; count > 0; --count) name += letters[random() % letters.size()];
    const FileURL file("/music/" + name + "x.wav");
    if (std::filesystem::path(file.path()).lexically_normal().native() != file.path()) continue;
    ++tried;
    EXPECT_THAT(playlistEntries(playlistText({&file, 1}, "/music"), "/music"), ElementsAre(file)) << file.path();
  }
  EXPECT_GE(tried, 500);
}

class PlaylistOnDisk : public testing::Test {
 protected:
  FileURL file(std::string_view name, std::string_view text = "x") { return folder.write(name, text); }
  [[nodiscard]] std::vector<std::string> names(const std::vector<FileURL>& urls) const {
    std::vector<std::string> found;
    for (const FileURL& url : urls) found.push_back(url.path().substr(folder.path().string().size() + 1));
    return found;
  }

  test::TemporaryFolder folder;
};

TEST_F(PlaylistOnDisk, BringsTheFilesThatExist) {
  file("a.wav");
  file("sub/b.wav");
  const FileURL list = file("list.m3u8", "sub\\b.wav\nmissing.wav\na.wav\n");
  EXPECT_THAT(names(readPlaylistFile(list)), ElementsAre("sub/b.wav", "a.wav"));
}

TEST_F(PlaylistOnDisk, IsOpenedAsTheFilesThatItNames) {
  for (const auto name : {"c.wav", "b.wav", "a.wav", "z.wav"}) file(name);
  const FileURL list = file("list.m3u8", "c.wav\na.wav\nb.wav\n");
  EXPECT_THAT(names(collectSupportedAudioFiles(std::vector{list})), ElementsAre("c.wav", "a.wav", "b.wav"));
}

TEST_F(PlaylistOnDisk, StandsBehindTheFilesThatAreOpenedWithIt) {
  for (const auto name : {"c.wav", "b.wav", "a.wav", "z.wav"}) file(name);
  const FileURL list = file("list.m3u8", "c.wav\na.wav\nb.wav\n");
  const std::vector given{list, FileURL((folder.path() / "z.wav").string()),
                          FileURL((folder.path() / "a.wav").string())};
  EXPECT_THAT(names(collectSupportedAudioFiles(given)), ElementsAre("a.wav", "z.wav", "c.wav", "b.wav"));
}

TEST_F(PlaylistOnDisk, InAFolderIsNoMusic) {
  file("a.wav");
  file("list.m3u8", "/elsewhere/b.wav\n");
  EXPECT_THAT(names(collectSupportedAudioFiles(std::vector{FileURL(folder.path().string())})), ElementsAre("a.wav"));
}

TEST_F(PlaylistOnDisk, ThatCannotBeReadBringsNothing) {
  const std::string pipe = (folder.path() / "pipe.m3u8").string();
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(readPlaylistFile(FileURL(pipe)), IsEmpty());
  EXPECT_THAT(readPlaylistFile(FileURL((folder.path() / "missing.m3u8").string())), IsEmpty());
  EXPECT_THAT(readPlaylistFile(FileURL(folder.path().string())), IsEmpty());
}

TEST_F(PlaylistOnDisk, OfTooManyBytesBringsNothing) {
  file("a.wav");
  const std::string text = "a.wav\n" + std::string(maximumPlaylistFileBytes - 6, '#');
  EXPECT_THAT(readPlaylistFile(file("list.m3u8", text)), SizeIs(1));
  EXPECT_THAT(readPlaylistFile(file("longer.m3u8", text + '#')), IsEmpty());
}

}  // namespace
}  // namespace tolvane
