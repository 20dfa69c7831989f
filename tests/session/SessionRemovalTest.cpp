// Entries are removed from the playlist.

#include "tests/session/RecordsFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SessionRemoval : public RecordsFixture {
 protected:
  /// Tracks 1 … 5, of which the third plays and has played for four seconds.
  void playTheThird() {
    load(5);
    session.playTrack(2, 0.4);
  }
  /// By the rows that they are in.
  void remove(const std::vector<std::size_t>& rows) {
    std::vector<PlaylistTrackID> ids;
    for (const auto row : rows) ids.push_back(session.playlistTracks().value().at(row).id);
    session.removeTracks(ids);
  }
};

struct Removed {
  std::vector<std::size_t> rows;
  std::vector<int> order;
  int newCurrent;
};

class RemovingOthers : public SessionRemoval, public testing::WithParamInterface<Removed> {};

TEST_P(RemovingOthers, LeavesTheCurrentEntryPlaying) {
  playTheThird();
  files.setReadGate([&](const FileURL& url, std::string_view call) {
    EXPECT_TRUE(call != "openAudioFile" || url != track(3)) << "prepared again";
  });
  remove(GetParam().rows);
  EXPECT_EQ(order(), GetParam().order);
  EXPECT_EQ(index(), GetParam().newCurrent);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(playingURL(), track(3));
  EXPECT_NEAR(position(), 4, oneFrame);
}

INSTANTIATE_TEST_SUITE_P(Rows, RemovingOthers,
                         testing::Values(Removed{{0}, {2, 3, 4, 5}, 1}, Removed{{4}, {1, 2, 3, 4}, 2},
                                         Removed{{0, 1, 3, 4}, {3}, 0}, Removed{{4, 0}, {2, 3, 4}, 1},
                                         Removed{{3, 3}, {1, 2, 3, 5}, 2}));

TEST_F(SessionRemoval, OfTheCurrentEntryGoesOnWithWhatFollowsFromItsBeginning) {
  playTheThird();
  remove({1, 2, 3});
  EXPECT_THAT(order(), ElementsAre(1, 5));
  EXPECT_EQ(index(), 1);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(playingURL(), track(5));
  EXPECT_EQ(position(), 0);
  advance(1);
  EXPECT_NEAR(position(), 1, 0.06);
}

TEST_F(SessionRemoval, OfTheCurrentEntryWithNothingBehindItStops) {
  playTheThird();
  remove({2, 3, 4});
  EXPECT_THAT(order(), ElementsAre(1, 2));
  EXPECT_EQ(index(), 1);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(hardware.unitCount(), 0) << "the device is given back";
  EXPECT_EQ(position(), 0);
  EXPECT_EQ(duration(), 0);
  EXPECT_FALSE(session.canPlayNext());
}

TEST_F(SessionRemoval, OfAPausedEntryStartsNothing) {
  playTheThird();
  session.togglePausePlayback();
  remove({2});
  EXPECT_EQ(index(), 2);
  EXPECT_EQ(session.currentTrackURL(), track(4));
  EXPECT_FALSE(isPlaying());
  EXPECT_FALSE(isPaused());
  EXPECT_EQ(position(), 0);
  session.togglePausePlayback();
  EXPECT_EQ(playingURL(), track(4));
}

TEST_F(SessionRemoval, OfOneOfTwoEntriesOfAFileGoesOnWithTheOther) {
  addTrack(1);
  session.loadPlaylist(std::vector{track(1), track(1), addTrack(2)}, true);
  session.playTrack(0, 0.5);
  remove({0});
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(index(), 0);
  EXPECT_EQ(position(), 0) << "it begins anew";
  playToTheEnd();
  EXPECT_EQ(playingURL(), track(2));
}

TEST_F(SessionRemoval, OfAllLeavesAnEmptyListThatIsNotSaved) {
  playTheThird();
  remove({0, 1, 2, 3, 4});
  EXPECT_THAT(order(), IsEmpty());
  EXPECT_EQ(session.currentTrackURL(), std::nullopt);
  EXPECT_FALSE(isPlaying());
  EXPECT_FALSE(session.canPlayNext());
  EXPECT_FALSE(defaults.stored().contains(playlistKey));
  EXPECT_FALSE(defaults.stored().contains(stateKey));
}

TEST_F(SessionRemoval, OfTheNextTrackIsFollowedByTheOneBehindIt) {
  playTheThird();
  advance(2);  // the fourth has been read, and the coupling is near
  remove({3});
  playToTheEnd();
  EXPECT_EQ(playingURL(), track(5));
  EXPECT_EQ(index(), 3);
}

TEST_F(SessionRemoval, OfTheNextTrackHasTheOneBehindItReadAhead) {
  playTheThird();
  advance(1);
  std::vector<FileURL> opened;
  files.setReadGate([&](const FileURL& url, std::string_view call) {
    if (call == "openAudioFile") opened.push_back(url);
  });
  remove({3});
  EXPECT_THAT(opened, ElementsAre(track(5)));
  session.undoPlaylistChange();
  EXPECT_THAT(opened, ElementsAre(track(5), track(4))) << "and the other one once more";
}

TEST_F(SessionRemoval, JustBeforeTheCrossingIsFollowedByTheOneBehindIt) {
  playTheThird();
  advance(5.95);
  ASSERT_EQ(playingURL(), track(3));
  remove({3});
  advance(1);
  EXPECT_EQ(playingURL(), track(5));
}

TEST_F(SessionRemoval, OfWhatIsNotThereChangesNothing) {
  playTheThird();
  advance(0.01);
  int changes = 0;
  const auto subscription = session.onChange([&] { ++changes; });
  session.removeTracks({});
  session.removeTracks(std::vector<PlaylistTrackID>{999, 0});
  EXPECT_EQ(changes, 0);
}

TEST_F(SessionRemoval, IsSaved) {
  playTheThird();
  remove({0, 3});
  EXPECT_THAT(savedOrder(), ElementsAre(2, 3, 5));
  EXPECT_EQ(savedState()["currentIndex"], 1);
}

TEST_F(SessionRemoval, IsUndoneWithoutInterruptingTheMusic) {
  playTheThird();
  remove({0, 3});
  EXPECT_EQ(session.undoableChange().value(), (PlaylistChange{PlaylistChange::Kind::removed, 2}));
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_EQ(index(), 2);
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 4, oneFrame);
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(SessionRemoval, OfTheCurrentEntryIsUndoneWithItsPlace) {
  playTheThird();
  remove({2});
  advance(1);
  ASSERT_EQ(playingURL(), track(4));
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_EQ(playingURL(), track(3));
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 4, oneFrame);
}

TEST_F(SessionRemoval, OfAllIsUndone) {
  playTheThird();
  remove({0, 1, 2, 3, 4});
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_EQ(playingURL(), track(3));
  EXPECT_NEAR(position(), 4, oneFrame);
}

TEST_F(SessionRemoval, WhileATrackIsPreparedLeavesTheOtherOneToFollow) {
  std::vector<BackgroundWork> asked;
  PlayerSession slow(hardware, files, defaults, bookmarks, runLoop, log,
                     [&](BackgroundWork work) { asked.push_back(std::move(work)); });
  const auto answer = [&] {
    for (int round = 0; round < 3; ++round) {
      for (const auto& work : std::exchange(asked, {})) work();
      runLoop.runUntilIdle();
    }
  };
  slow.loadPlaylist(std::vector{addTrack(1), addTrack(2), addTrack(3)}, true);
  slow.removeTracks(std::vector{slow.playlistTracks().value()[0].id});
  EXPECT_EQ(slow.currentTrackURL(), track(2));
  answer();
  EXPECT_TRUE(slow.player().isPlaying().value());
  EXPECT_EQ(slow.player().currentURL().value(), track(2));
  EXPECT_THAT(savedOrder(), ElementsAre(2, 3)) << "the bookmarks have found their entries";
}

}  // namespace
}  // namespace tolvane
