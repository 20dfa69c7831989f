#include "ui/SourceActions.h"

#include <gmock/gmock.h>

#include "platform/simulated/ManualRunLoop.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Sources : public testing::Test {
 protected:
  /// Folders "A" and "B" with a file each.
  Sources() {
    folder.write("A/a.wav", "x");
    folder.write("B/b.wav", "x");
    folder.write("B/notes.txt", "x");
    folder.write("empty/notes.txt", "x");
  }

  void finishSearch(std::size_t index) { searches.at(index)(); }
  void settle() { runLoop.runUntilIdle(); }

  test::TemporaryFolder folder;
  ManualRunLoop runLoop;
  std::vector<BackgroundWork> searches;  ///< handed to the background, in order
  std::vector<std::vector<FileURL>> loaded;
  std::vector<PlaylistPlace> places;  ///< of each of them
  std::vector<std::string> reports;
  std::optional<SourceActions> actions{std::in_place, runLoop,
                                       [this](std::span<const FileURL> urls, PlaylistPlace place) {
                                         loaded.emplace_back(urls.begin(), urls.end());
                                         places.push_back(place);
                                       },
                                       [this](BackgroundWork work) { searches.push_back(std::move(work)); },
                                       [this](const std::string& notice) { reports.push_back(notice); }};
};

TEST_F(Sources, ChosenFilesAreLoadedAtOnceInOrderOfTheirNames) {
  const std::vector urls{folder.url("B/b.wav"), folder.url("A/a.wav"), folder.url("B/notes.txt")};
  actions->openFiles(urls);
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("A/a.wav"), folder.url("B/b.wav"))));
  EXPECT_THAT(searches, IsEmpty());
}

TEST_F(Sources, ChosenPlaylistsBringTheirFilesBehindTheOthersAsADropDoes) {
  folder.write("A/c.wav", "x");
  folder.write("list.m3u8", "B/b.wav\nA/a.wav\nA/c.wav\n");
  const std::vector mixed{folder.url("list.m3u8"), folder.url("A/c.wav"), folder.url("B/notes.txt")};
  actions->openFiles(mixed, PlaylistPlace::atTheEnd());
  EXPECT_THAT(loaded, IsEmpty()) << "a playlist is read in the background";
  finishSearch(0);
  settle();
  actions->dropURLs(mixed, PlaylistPlace::atTheEnd());
  finishSearch(1);
  settle();
  const auto both = ElementsAre(folder.url("A/c.wav"), folder.url("B/b.wav"), folder.url("A/a.wav"));
  EXPECT_THAT(loaded, ElementsAre(both, both));
  EXPECT_THAT(places, ElementsAre(PlaylistPlace::atTheEnd(), PlaylistPlace::atTheEnd()));
}

TEST_F(Sources, ASheetIsOpenedAsItsTracksHoweverItComes) {
  const std::vector sheet{
      folder.write("album.cue",
                   "FILE A/a.flac WAVE\nTRACK 1 AUDIO\nTITLE One\nINDEX 01 00:00:00\nTRACK 2 AUDIO\n"
                   "TITLE Two\nINDEX 01 00:02:00\n")};
  actions->openFiles(sheet);
  finishSearch(0);
  settle();
  actions->dropURLs(sheet);
  finishSearch(1);
  settle();
  const std::string file = folder.url("A/a.wav").path();
  const auto tracks = ElementsAre(FileURL(file, FileExcerpt{.end = 150, .title = "One", .trackNumber = 1}),
                                  FileURL(file, FileExcerpt{.first = 150, .title = "Two", .trackNumber = 2}));
  EXPECT_THAT(loaded, ElementsAre(tracks, tracks));
}

TEST_F(Sources, AFolderIsLoadedOnceItHasBeenSearched) {
  actions->openFolderURL(folder.url("A"));
  settle();
  EXPECT_THAT(loaded, IsEmpty());
  finishSearch(0);
  EXPECT_THAT(loaded, IsEmpty()) << "results arrive in a turn of the window's thread";
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("A/a.wav"))));
}

TEST_F(Sources, DroppedFilesAndFoldersAreLoadedTogether) {
  actions->dropURLs({folder.url("B"), folder.url("A/a.wav"), folder.url("B/notes.txt")});
  finishSearch(0);
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("A/a.wav"), folder.url("B/b.wav"))));
}

TEST_F(Sources, GoWhereTheyWereOpenedOrDropped) {
  const PlaylistPlace beforeAnEntry{.replacesAll = false, .before = 7};
  actions->openFiles(std::vector{folder.url("A/a.wav")});
  actions->openFiles(std::vector{folder.url("A/a.wav")}, PlaylistPlace::atTheEnd());
  actions->openFolderURL(folder.url("A"), PlaylistPlace::atTheEnd());
  finishSearch(0);
  settle();
  actions->dropURLs({folder.url("B")}, beforeAnEntry);
  finishSearch(1);
  settle();
  EXPECT_THAT(places,
              ElementsAre(PlaylistPlace(), PlaylistPlace::atTheEnd(), PlaylistPlace::atTheEnd(), beforeAnEntry));
  EXPECT_TRUE(places.front().replacesAll);
}

TEST_F(Sources, AFolderWithoutAudioLoadsNothing) {
  actions->openFolderURL(folder.url("empty"));
  finishSearch(0);
  settle();
  EXPECT_THAT(loaded, IsEmpty());
}

TEST_F(Sources, SayWhyThereIsNothingToPlay) {
  std::filesystem::create_directory(folder.path() / "bare");
  std::filesystem::create_directory_symlink(folder.path() / "A", folder.path() / "link");
  folder.write("a.OGG", "x");
  folder.write("README", "x");
  folder.write("lost.cue", "FILE lost.wav WAVE\nTRACK 1 AUDIO\nINDEX 01 00:00:00\n");
  folder.write("damaged.cue", "FILE A/a.wav WAVE\nTRACK 1 AUDIO\nINDEX 01 00\n");
  folder.write("b\x1b[2J.ogg", "x");
  struct Case {
    std::vector<std::string> names;
    const char* notice;
  };
  int said = 0;
  for (const auto& [names, notice] :
       {Case{{"a.OGG"}, "Nothing to play in a.OGG: .ogg is not a format this player plays."},
        {{"a.OGG", "README"}, "Nothing to play in a.OGG and 1 more: .ogg is not a format this player plays."},
        {{"README"}, "Nothing to play in README: its name does not end in a format this player plays."},
        {{"b\x1b[2J.ogg"}, "Nothing to play in b\uFFFD[2J.ogg: .ogg is not a format this player plays."},
        {{"missing.flac"}, "Nothing to play in missing.flac: it does not exist."},
        {{"lost.cue"},
         "Nothing to play in lost.cue: it names no track of a WAV, AIFF, FLAC or MP3 file that is there."},
        {{"damaged.cue"},
         "Nothing to play in damaged.cue: it names no track of a WAV, AIFF, FLAC or MP3 file that is there."},
        {{"bare"}, "Nothing to play in bare: the folder is empty."},
        {{"empty/"}, "Nothing to play in empty: it has no WAV, AIFF, FLAC or MP3 files."},
        {{"link"}, "Nothing to play in link: it is a link to a folder, and links to folders are not followed."}}) {
    std::vector<FileURL> urls;
    for (const auto& name : names) urls.push_back(folder.url(name));
    actions->dropURLs(urls);
    EXPECT_EQ(actions->notice(), "") << "a new search begins";
    finishSearch(searches.size() - 1);
    settle();
    EXPECT_EQ(actions->notice(), notice);
    EXPECT_EQ(reports.back(), notice);
    ++said;
  }
  EXPECT_EQ(said, 10);
  EXPECT_THAT(loaded, IsEmpty());
  actions->openFiles(std::vector{folder.url("A/a.wav")});
  EXPECT_EQ(actions->notice(), "") << "something was chosen";
}

TEST_F(Sources, SayWhyNothingOfWhatWasChosenPlays) {
  const std::vector chosen{folder.url("B/notes.txt")};
  actions->openFiles(chosen);
  finishSearch(0);
  settle();
  EXPECT_EQ(actions->notice(), "Nothing to play in notes.txt: .txt is not a format this player plays.");
  EXPECT_THAT(loaded, IsEmpty());
}

class SearchOrder : public Sources, public testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(SearchOrder, OnlyTheNewestSearchCountsWhicheverEndsFirst) {
  const auto [first, second] = GetParam();
  actions->openFolderURL(folder.url("A"));
  actions->openFolderURL(folder.url("B"));
  finishSearch(static_cast<std::size_t>(first));
  settle();
  finishSearch(static_cast<std::size_t>(second));
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("B/b.wav"))));
}

INSTANTIATE_TEST_SUITE_P(BothOrders, SearchOrder, testing::Values(std::pair(0, 1), std::pair(1, 0)));

TEST_F(Sources, AResultThatAlreadyWaitsIsDroppedForANewerSearch) {
  actions->openFolderURL(folder.url("A"));
  finishSearch(0);
  actions->openFolderURL(folder.url("B"));
  settle();
  EXPECT_THAT(loaded, IsEmpty());
  finishSearch(1);
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("B/b.wav"))));
}

TEST_F(Sources, ChosenFilesOvertakeASearch) {
  actions->openFolderURL(folder.url("A"));
  const std::vector urls{folder.url("B/b.wav")};
  actions->openFiles(urls);
  finishSearch(0);
  settle();
  EXPECT_THAT(loaded, ElementsAre(ElementsAre(folder.url("B/b.wav"))));
}

TEST_F(Sources, ASearchThatOutlivesTheWindowIsHarmless) {
  actions->openFolderURL(folder.url("A"));
  actions->openFolderURL(folder.url("B"));
  finishSearch(1);
  actions.reset();
  finishSearch(0);
  settle();
  EXPECT_THAT(loaded, IsEmpty());
}

}  // namespace
}  // namespace tolvane
