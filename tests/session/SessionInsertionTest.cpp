// Entries are added to the playlist.

#include "tests/session/RecordsFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;

class SessionInsertion : public RecordsFixture {
 protected:
  /// Tracks 1 … 3, of which the second plays and has played for four seconds.
  void playTheSecond() {
    load(3);
    session.playTrack(1, 0.4);
  }
  void insert(std::int64_t row) { session.insertTracks(std::vector{addTrack(7), addTrack(8)}, row); }
};

struct Inserted {
  std::int64_t row;
  std::vector<int> order;
  int newCurrent;
};

class InsertingTracks : public SessionInsertion, public testing::WithParamInterface<Inserted> {};

TEST_P(InsertingTracks, DoesNotInterruptTheMusic) {
  playTheSecond();
  files.setReadGate([&](const FileURL& url, std::string_view call) {
    EXPECT_TRUE(call != "openAudioFile" || url != track(2)) << "prepared again";
  });
  insert(GetParam().row);
  EXPECT_EQ(order(), GetParam().order);
  EXPECT_EQ(index(), GetParam().newCurrent);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(playingURL(), track(2));
  EXPECT_NEAR(position(), 4, oneFrame);
  EXPECT_EQ(session.undoableChange().value(), (PlaylistChange{PlaylistChange::Kind::added, 2}));
  EXPECT_EQ(savedState()["currentIndex"], GetParam().newCurrent);
}

INSTANTIATE_TEST_SUITE_P(Rows, InsertingTracks,
                         testing::Values(Inserted{0, {7, 8, 1, 2, 3}, 3}, Inserted{1, {1, 7, 8, 2, 3}, 3},
                                         Inserted{2, {1, 2, 7, 8, 3}, 1}, Inserted{3, {1, 2, 3, 7, 8}, 1},
                                         Inserted{99, {1, 2, 3, 7, 8}, 1}, Inserted{-4, {7, 8, 1, 2, 3}, 3}));

TEST_F(SessionInsertion, BehindTheCurrentTrackIsWhatFollowsIt) {
  playTheSecond();
  advance(2);
  insert(2);
  playToTheEnd();
  EXPECT_EQ(playingURL(), track(7));
}

TEST_F(SessionInsertion, BehindTheCurrentTrackIsReadAhead) {
  playTheSecond();
  advance(1);
  std::vector<FileURL> opened;
  files.setReadGate([&](const FileURL& url, std::string_view call) {
    if (call == "openAudioFile") opened.push_back(url);
  });
  insert(2);
  EXPECT_THAT(opened, ElementsAre(track(7)));
  EXPECT_EQ(playingURL(), track(2));
}

TEST_F(SessionInsertion, JustBeforeTheCrossingIsWhatFollows) {
  playTheSecond();
  advance(5.95);
  ASSERT_EQ(playingURL(), track(2));
  insert(2);
  advance(1);
  EXPECT_EQ(playingURL(), track(7));
}

TEST_F(SessionInsertion, BehindTheLastTrackGoesOnWithWhatWasAdded) {
  load(1);
  session.playTrack(0, 0.5);
  EXPECT_FALSE(session.canPlayNext());
  insert(1);
  EXPECT_TRUE(session.canPlayNext());
  playToTheEnd();
  EXPECT_EQ(playingURL(), track(7));
}

TEST_F(SessionInsertion, StartsNothingThatHadStopped) {
  load(2);
  insert(2);
  EXPECT_FALSE(isPlaying());
  session.playTrack(1, 0.5);
  session.togglePausePlayback();
  insert(0);
  EXPECT_TRUE(isPaused());
  EXPECT_EQ(position(), 5);
  EXPECT_EQ(index(), 3);
}

TEST_F(SessionInsertion, IntoAnEmptyListPlays) {
  insert(0);
  EXPECT_THAT(order(), ElementsAre(7, 8));
  EXPECT_EQ(playingURL(), track(7));
}

TEST_F(SessionInsertion, OfNothingChangesNothing) {
  playTheSecond();
  advance(0.01);
  int changes = 0;
  const auto subscription = session.onChange([&] { ++changes; });
  session.insertTracks({}, 0);
  EXPECT_EQ(changes, 0);
}

TEST_F(SessionInsertion, IsSavedAndUndone) {
  playTheSecond();
  insert(1);
  EXPECT_THAT(savedOrder(), ElementsAre(1, 7, 8, 2, 3));
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2, 3));
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 4, oneFrame);
}

TEST_F(SessionInsertion, OfWhatPlaysByThenIsUndoneToThePlaceOfBefore) {
  playTheSecond();
  insert(3);
  session.playTrack(3, 0.5);
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_EQ(playingURL(), track(2));
  EXPECT_NEAR(position(), 4, oneFrame);
}

TEST_F(SessionInsertion, WhileBookmarksAreMadeHasThemMadeForAll) {
  std::vector<BackgroundWork> asked;
  PlayerSession slow(hardware, files, defaults, bookmarks, runLoop, log,
                     [&](BackgroundWork work) { asked.push_back(std::move(work)); });
  slow.loadPlaylist(std::vector{addTrack(1), addTrack(2)}, false);
  slow.insertTracks(std::vector{addTrack(7)}, 1);
  EXPECT_FALSE(defaults.stored().contains(playlistKey));
  for (const auto& work : std::exchange(asked, {})) work();
  runLoop.runUntilIdle();
  EXPECT_THAT(savedOrder(), ElementsAre(1, 7, 2));
}

TEST_F(SessionInsertion, OnADiskThatDoesNotAnswerIsSavedByItsPaths) {
  std::vector<BackgroundWork> asked;
  PlayerSession slow(hardware, files, defaults, bookmarks, runLoop, log,
                     [&](BackgroundWork work) { asked.push_back(std::move(work)); });
  slow.loadPlaylist(std::vector{addTrack(1), addTrack(2)}, false);
  advance(3.1);
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2));
  slow.insertTracks(std::vector{addTrack(7)}, 2);
  advance(3.1);
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2, 7));
  EXPECT_EQ(bookmarks.madeCount(), 0);
}

}  // namespace
}  // namespace tolvane
