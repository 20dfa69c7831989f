#include "ui/playlist/TrackFinder.h"

#include <gmock/gmock.h>

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

PlaylistTracks tracksNamed(const std::vector<std::string>& paths) {
  PlaylistTracks::Entries entries;
  PlaylistTrackID id = 0;
  for (const auto& path : paths) entries.push_back({++id, FileURL(path)});
  return PlaylistTracks(std::move(entries));
}

class FoundTracks : public testing::Test {
 protected:
  const std::vector<std::int64_t>& rowsFor(std::string_view text) {
    finder.find(tracks, text);
    return finder.matches();
  }

  PlaylistTracks tracks =
      tracksNamed({"/home/ilse/Music/Bach/Partitas/01 Prelude.flac", "/home/ilse/Music/Bach/Partitas/02 Fugue.flac",
                   "/home/ilse/Music/Dvořák/Symphonies/Für Elise.wav", "/home/ilse/Music/Dvořák/Symphonies/bach.wav",
                   "/top.wav", "/music/STRASSE ひ.mp3", "/music/\xff\xfe Broken.wav"});
  TrackFinder finder;
};

TEST_F(FoundTracks, HaveTheTextInTheirName) {
  EXPECT_THAT(rowsFor("fugue"), ElementsAre(1));
  EXPECT_THAT(rowsFor("relu"), ElementsAre(0)) << "anywhere in it";
  EXPECT_THAT(rowsFor("flac"), IsEmpty()) << "not in the extension";
  EXPECT_THAT(rowsFor("top"), ElementsAre(4));
  EXPECT_THAT(rowsFor("nothing"), IsEmpty());
}

TEST_F(FoundTracks, HaveItInTheirFoldersToo) {
  EXPECT_THAT(rowsFor("bach"), ElementsAre(0, 1, 3));
  EXPECT_THAT(rowsFor("symphonies"), ElementsAre(2, 3));
  EXPECT_THAT(rowsFor("ilse"), IsEmpty()) << "no further up than two folders";
}

TEST_F(FoundTracks, HaveEveryWordInAnyOrder) {
  EXPECT_THAT(rowsFor("fugue bach"), ElementsAre(1));
  EXPECT_THAT(rowsFor("  partitas\tprelude "), ElementsAre(0));
  EXPECT_THAT(rowsFor("bach symphonies fugue"), IsEmpty());
}

TEST_F(FoundTracks, AreFoundWhateverTheCaseAndTheAccents) {
  EXPECT_THAT(rowsFor("dvorak FUR"), ElementsAre(2));
  EXPECT_THAT(rowsFor("DVOŘÁK"), ElementsAre(2, 3));
  EXPECT_THAT(rowsFor("straße"), ElementsAre(5));
  EXPECT_THAT(rowsFor("ひ"), ElementsAre(5));
  EXPECT_THAT(rowsFor("broken"), ElementsAre(6)) << "also in a name that is not UTF-8";
  EXPECT_THAT(rowsFor("\xff"), ElementsAre(6));
}

TEST_F(FoundTracks, AreNoneWithoutAText) {
  EXPECT_THAT(rowsFor(""), IsEmpty());
  EXPECT_THAT(rowsFor("  "), IsEmpty());
  EXPECT_THAT(rowsFor("bach"), ElementsAre(0, 1, 3)) << "after none";
}

TEST_F(FoundTracks, AreTheSameWhetherTheTextGrowsOrComesAtOnce) {
  std::string text;
  int compared = 0;
  for (const char letter : std::string_view("bach partitas fu")) {
    text += letter;
    const auto grown = rowsFor(text);
    TrackFinder anew;
    anew.find(tracks, text);
    EXPECT_EQ(grown, anew.matches()) << text;
    ++compared;
  }
  EXPECT_EQ(compared, 16);
  EXPECT_THAT(rowsFor("bach"), ElementsAre(0, 1, 3)) << "and where it shrinks";
}

TEST_F(FoundTracks, AreOfTheListThatIsThereNow) {
  EXPECT_THAT(rowsFor("bach"), ElementsAre(0, 1, 3));
  tracks = tracksNamed({"/a/b/c.wav", "/a/b/bach.wav"});
  EXPECT_THAT(rowsFor("bach"), ElementsAre(1));
  EXPECT_THAT(rowsFor("bachs"), IsEmpty());
}

TEST_F(FoundTracks, FollowOneAnotherInACircle) {
  rowsFor("bach");
  EXPECT_EQ(finder.matchFrom(0, 1), 0);
  EXPECT_EQ(finder.matchFrom(2, 1), 3);
  EXPECT_EQ(finder.matchFrom(4, 1), 0);
  EXPECT_EQ(finder.matchFrom(2, -1), 1);
  EXPECT_EQ(finder.matchFrom(-1, -1), 3);
  EXPECT_EQ(finder.numberOf(3), 3);
  EXPECT_EQ(finder.numberOf(2), 0);
  finder.forget();
  EXPECT_EQ(finder.matchFrom(0, 1), -1);
}

TEST_F(FoundTracks, HaveItInWhatTheirTagsState) {
  const FileURL top = tracks[4].url;
  const TrackFinder::Tags tags{
      {top, {.title = "Prélude à l'aube", .artist = "Ilse Brandt", .album = "Copper Light", .trackNumber = 4}}};
  const auto rows = [&](std::string_view text) {
    finder.find(tracks, text, tags);
    return finder.matches();
  };
  EXPECT_THAT(rows("prelude"), ElementsAre(0, 4));
  EXPECT_THAT(rows("copper brandt top"), ElementsAre(4));
}

TEST_F(FoundTracks, AreMoreWhenTagsBecomeKnown) {
  EXPECT_THAT(rowsFor("prel"), ElementsAre(0));
  EXPECT_TRUE(finder.addTags(tracks[4].url, {.title = "Prelude", .artist = "Brandt", .album = {}, .trackNumber = {}}));
  EXPECT_THAT(finder.matches(), ElementsAre(0, 4));
  EXPECT_FALSE(finder.addTags(tracks[5].url, {.title = "Fugue", .artist = {}, .album = {}, .trackNumber = {}}));
  EXPECT_THAT(rowsFor("prelude"), ElementsAre(0, 4)) << "while the text grows";
  EXPECT_THAT(rowsFor("fugue"), ElementsAre(1, 5));
  EXPECT_FALSE(
      finder.addTags(FileURL("/elsewhere.wav"), {.title = "Fugue", .artist = {}, .album = {}, .trackNumber = {}}));
}

/// A list of three parts and a bit; "needle" is in the first row, and in the last of the second and of the last part.
class FoundInALongList : public testing::Test {
 protected:
  FoundInALongList() {
    PlaylistTracks::Entries entries;
    for (std::int64_t row = 0; row < count; ++row) {
      const bool isNeedle = row == 0 || row == secondsLast || row == count - 1;
      entries.push_back({static_cast<PlaylistTrackID>(row) + 1, FileURL("/music/Folder/" + std::string(isNeedle ? "Needle " : "Straw ") +
                                          std::to_string(row) + ".wav")});
    }
    tracks = PlaylistTracks(std::move(entries));
  }
  /// How often it was searched further.
  int complete() {
    int parts = 0;
    for (; !finder.isComplete(); ++parts) finder.proceed();
    return parts;
  }

  static constexpr std::int64_t part = TrackFinder::rowsPerCall;
  static constexpr std::int64_t secondsLast = 2 * part - 1;
  static constexpr std::int64_t count = 3 * part + 10;
  PlaylistTracks tracks;
  TrackFinder finder;
};

TEST_F(FoundInALongList, AreKnownAPartAtATime) {
  finder.find(tracks, "needle");
  EXPECT_FALSE(finder.isComplete());
  EXPECT_THAT(finder.matches(), ElementsAre(0));
  EXPECT_EQ(finder.matchFrom(1, 1), -1) << "there may be one in the rest";
  EXPECT_EQ(finder.matchFrom(-1, -1), -1) << "nor is the last one known";
  finder.proceed();
  EXPECT_THAT(finder.matches(), ElementsAre(0, secondsLast));
  EXPECT_EQ(finder.matchFrom(1, 1), secondsLast);
  EXPECT_EQ(complete(), 2);
  EXPECT_THAT(finder.matches(), ElementsAre(0, secondsLast, count - 1));
  EXPECT_EQ(finder.matchFrom(-1, -1), count - 1);
}

TEST_F(FoundInALongList, AreAllFoundWhereTheTextGrowsMeanwhile) {
  finder.find(tracks, "n");
  EXPECT_EQ(finder.matches().size(), 1U);
  finder.find(tracks, "needle 0");
  EXPECT_EQ(complete(), 2) << "the second part was searched by that";
  EXPECT_THAT(finder.matches(), ElementsAre(0));
  finder.find(tracks, "needle");
  EXPECT_FALSE(finder.isComplete()) << "a shorter text finds more, in all rows";
  EXPECT_EQ(complete(), 3);
  EXPECT_THAT(finder.matches(), ElementsAre(0, secondsLast, count - 1));
}

TEST_F(FoundInALongList, CountTagsOfRowsThatAreSearchedLater) {
  const MusicTags tags{.title = "Needle", .artist = {}, .album = {}, .trackNumber = {}};
  const auto row = static_cast<std::size_t>(secondsLast) - 5;
  finder.find(tracks, "needle");
  EXPECT_FALSE(finder.addTags(tracks[row].url, tags)) << "it is not known yet whether it matches";
  finder.proceed({{tracks[row].url, tags}});
  EXPECT_THAT(finder.matches(), ElementsAre(0, secondsLast - 5, secondsLast));
}

TEST_F(FoundInALongList, AreSearchedForWithoutAWordNowhere) {
  finder.find(tracks, " ");
  EXPECT_TRUE(finder.isComplete());
  EXPECT_EQ(finder.matchFrom(0, 1), -1);
}

}  // namespace
}  // namespace tolvane
