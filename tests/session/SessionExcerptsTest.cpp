// Entries that are parts of files: the tracks of a CUE sheet.

#include "tests/session/RecordsFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

/// A file of ten seconds with tracks of two, three and five.
class SessionExcerpts : public RecordsFixture {
 protected:
  SessionExcerpts() { addTrack(1); }

  static FileURL part(int number) {
    switch (number) {
      case 1:
        return {track(1).path(),
                FileExcerpt{.end = 150, .title = "Arrival", .artist = "Trio", .album = "Evening", .trackNumber = 1}};
      case 2:
        return {track(1).path(), FileExcerpt{.first = 150, .end = 375, .title = "Interlude", .trackNumber = 2}};
      default:
        return {track(1).path(), FileExcerpt{.first = 375, .title = "Departure", .trackNumber = 3}};
    }
  }
  void loadSheet(bool autoplay = false) {
    const std::vector<FileURL> urls{part(1), part(2), part(3)};
    session.loadPlaylist(urls, autoplay);
  }
  [[nodiscard]] std::vector<std::string> titles() const { return titlesOf(session); }
  [[nodiscard]] static std::vector<std::string> titlesOf(const PlayerSession& session) {
    std::vector<std::string> all;
    for (const auto& entry : session.playlistTracks().value()) all.emplace_back(entry.title());
    return all;
  }
};

TEST_F(SessionExcerpts, AreCalledAsTheSheetCallsThem) {
  loadSheet();
  EXPECT_THAT(titles(), ElementsAre("Arrival", "Interlude", "Departure"));
}

TEST_F(SessionExcerpts, HaveAPositionAndALengthOfTheirOwn) {
  loadSheet();
  session.playTrack(1, 0.5);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(duration(), 3);
  EXPECT_NEAR(position(), 1.5, oneFrame);
  session.seek(9);
  EXPECT_NEAR(position(), 3, oneFrame) << "not beyond the track";
}

TEST_F(SessionExcerpts, OfOneFileAreTracksApart) {
  loadSheet(true);
  EXPECT_EQ(playingURL(), part(1));
  session.playTrack(2, 0);
  EXPECT_EQ(playingURL(), part(3)) << "not sought in the one that is loaded";
  EXPECT_EQ(index(), 2);
  EXPECT_EQ(duration(), 5);
}

TEST_F(SessionExcerpts, FollowEachOtherToTheEndOfTheFile) {
  loadSheet(true);
  advance(2.5);
  EXPECT_EQ(index(), 1);
  advance(3);
  EXPECT_EQ(index(), 2);
  advance(5);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(session.player().statistics().crossings, 2U);
}

TEST_F(SessionExcerpts, SurviveARestartWithTheirTitles) {
  loadSheet();
  session.moveTrack(2, 0);
  session.playTrack(1, 0.5);
  const auto run = nextRun();
  EXPECT_THAT(run->session.fileURLs(), ElementsAre(part(3), part(1), part(2)));
  EXPECT_THAT(titlesOf(run->session), ElementsAre("Departure", "Arrival", "Interlude"));
  EXPECT_EQ(run->index(), 1);
  EXPECT_NEAR(run->position(), 1, oneFrame);
  EXPECT_EQ(run->duration(), 2);
  run->session.togglePausePlayback();
  EXPECT_EQ(run->session.player().currentURL().value(), part(1));
}

TEST_F(SessionExcerpts, MoveWithTheirFile) {
  loadSheet();
  bookmarks.rename(track(1), track(7));
  const auto run = nextRun();
  EXPECT_THAT(run->session.fileURLs(),
              ElementsAre(FileURL(track(7).path(), *part(1).excerpt()), FileURL(track(7).path(), *part(2).excerpt()),
                          FileURL(track(7).path(), *part(3).excerpt())));
}

TEST_F(SessionExcerpts, AreMovedRemovedAndBroughtBackAsOthers) {
  loadSheet();
  const auto before = session.fileURLs();
  const std::vector<PlaylistTrackID> middle{session.playlistTracks().value()[1].id};
  session.removeTracks(middle);
  EXPECT_THAT(titles(), ElementsAre("Arrival", "Departure"));
  session.undoPlaylistChange();
  EXPECT_EQ(session.fileURLs(), before);
  session.moveTrack(0, 2);
  EXPECT_THAT(titles(), ElementsAre("Interlude", "Departure", "Arrival"));
  const std::vector<FileURL> more{track(1), part(2)};
  session.insertTracks(more, 0);
  EXPECT_THAT(titles(), ElementsAre("1", "Interlude", "Interlude", "Departure", "Arrival"));
}

TEST_F(SessionExcerpts, ThatTheFileDoesNotReachAreMarkedAlone) {
  const FileURL behind(track(1).path(), FileExcerpt{.first = 75 * 60, .title = "Bonus"});
  const std::vector<FileURL> urls{part(1), behind};
  session.loadPlaylist(urls, true);
  session.playTrack(1, 0);
  EXPECT_FALSE(isPlaying());
  EXPECT_TRUE(session.unplayableFiles().contains(behind));
  EXPECT_FALSE(session.unplayableFiles().contains(part(1)));
}

}  // namespace
}  // namespace tolvane
