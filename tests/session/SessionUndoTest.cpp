// The last change of the playlist is undone: list, place and position.

#include <utility>

#include "tests/session/RecordsFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;

class SessionUndo : public RecordsFixture {
 protected:
  /// Tracks 7 and 8, which play at once unless the test says otherwise.
  void open(bool autoplay = true) { session.loadPlaylist(std::vector{addTrack(7), addTrack(8)}, autoplay); }
  [[nodiscard]] auto offered() const { return session.undoableChange().value(); }
  [[nodiscard]] std::vector<PlaylistTrackID> identities() const {
    std::vector<PlaylistTrackID> ids;
    for (const auto& track : session.playlistTracks().value()) ids.push_back(track.id);
    return ids;
  }
};

TEST_F(SessionUndo, IsOfferedForWhatHasChangedAndNotBefore) {
  using Kind = PlaylistChange::Kind;
  load(3);
  EXPECT_EQ(offered(), std::nullopt) << "there was no list";
  session.moveTrack(0, 2);
  EXPECT_EQ(offered(), (PlaylistChange{Kind::moved, 1}));
  open();
  EXPECT_EQ(offered(), (PlaylistChange{Kind::replaced, 3}));
  session.playTrack(1, 0.5);
  session.togglePausePlayback();
  session.stopPlayback();
  session.setOutputVolume(0.5);
  EXPECT_EQ(offered(), (PlaylistChange{Kind::replaced, 3})) << "none of these changes the list";
}

TEST_F(SessionUndo, WithoutAChangeDoesNothing) {
  load(3);
  session.playTrack(1, 0.5);
  advance(0.01);
  int changes = 0;
  const auto subscription = session.onChange([&] { ++changes; });
  session.undoPlaylistChange();
  EXPECT_EQ(changes, 0);
}

TEST_F(SessionUndo, HappensOnce) {
  load(3);
  session.moveTrack(0, 2);
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_EQ(offered(), std::nullopt);
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
}

TEST_F(SessionUndo, OfAReplacedListBringsBackTheTrackThatPlayedWhereItWas) {
  load(3);
  session.playTrack(1, 0.25);
  advance(2);
  const auto before = identities();
  open();
  advance(1);
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_EQ(identities(), before);
  EXPECT_EQ(index(), 1);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(playingURL(), track(2));
  EXPECT_NEAR(position(), 4.5, oneFrame);
  advance(1);
  EXPECT_NEAR(position(), 5.5, 0.06) << "its clock runs";
  EXPECT_EQ(duration(), trackSeconds);
  playToTheEnd();
  EXPECT_EQ(playingURL(), track(3)) << "and the list goes on";
}

TEST_F(SessionUndo, OfAReplacedListLeavesAlonePausedWhatWasPaused) {
  load(3);
  session.playTrack(2, 0.25);
  session.togglePausePlayback();
  open();
  session.undoPlaylistChange();
  EXPECT_EQ(index(), 2);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(position(), 2.5);
  EXPECT_EQ(duration(), trackSeconds);
  session.togglePausePlayback();
  EXPECT_EQ(playingURL(), track(3));
  EXPECT_NEAR(position(), 2.5, oneFrame);
}

TEST_F(SessionUndo, OfAReplacedListKeepsTheUnknownLengthOfATrackThatNeverPlayed) {
  load(2);
  open(false);
  session.undoPlaylistChange();
  EXPECT_EQ(index(), 0);
  EXPECT_EQ(position(), 0);
  EXPECT_EQ(duration(), 0);
  EXPECT_FALSE(isPlaying());
}

TEST_F(SessionUndo, OfAReorderDoesNotInterruptTheMusic) {
  load(3);
  session.playTrack(0, 0.5);
  const auto playing = playingURL();
  session.moveTrack(0, 2);
  files.setReadGate([&](const FileURL& url, std::string_view call) {
    EXPECT_TRUE(call != "openAudioFile" || url != playing) << "prepared again";
  });
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_EQ(index(), 0);
  EXPECT_TRUE(isPlaying());
  EXPECT_NEAR(position(), 5, oneFrame);
}

TEST_F(SessionUndo, OfAReorderStaysWithTheTrackThatPlaysByThen) {
  load(3);
  session.playTrack(0, 0.5);
  session.moveTrack(2, 0);  // 3 1 2
  session.playTrack(2, 0);
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_EQ(playingURL(), track(2));
  EXPECT_EQ(index(), 1);
  playToTheEnd();
  EXPECT_EQ(playingURL(), track(3)) << "what was to follow follows again";
}

TEST_F(SessionUndo, IsSaved) {
  load(3);
  session.playTrack(1, 0.25);
  open(false);
  EXPECT_THAT(savedOrder(), ElementsAre(7, 8));
  session.undoPlaylistChange();
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2, 3));
  EXPECT_EQ(savedState()["currentIndex"], 1);
  const auto run = nextRun();
  EXPECT_THAT(run->order(), ElementsAre(1, 2, 3));
  EXPECT_EQ(run->session.undoableChange().value(), std::nullopt) << "the offer ends with the program";
}

TEST_F(SessionUndo, OfAListWhoseBookmarksWereNotMadeYetHasThemMade) {
  std::vector<BackgroundWork> asked;
  PlayerSession slow(hardware, files, defaults, bookmarks, runLoop, log,
                     [&](BackgroundWork work) { asked.push_back(std::move(work)); });
  const auto answer = [&] {
    for (const auto& work : std::exchange(asked, {})) work();
    runLoop.runUntilIdle();
  };
  slow.loadPlaylist(std::vector{addTrack(1), addTrack(2)}, false);
  slow.loadPlaylist(std::vector{addTrack(3)}, false);
  slow.undoPlaylistChange();
  EXPECT_FALSE(defaults.stored().contains(playlistKey)) << "the disk has not answered yet";
  answer();
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2));
}

TEST_F(SessionUndo, OfATrackThatCannotBePlayedAnyMoreFailsAsAPlayDoes) {
  load(2);
  session.playTrack(1, 0.25);
  open();
  files.remove(track(2));
  session.undoPlaylistChange();
  EXPECT_THAT(order(), ElementsAre(1, 2));
  EXPECT_EQ(index(), 1);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(session.player().audioPathStatus().value().kind, AudioPathStatus::Kind::error);
}

}  // namespace
}  // namespace tolvane
