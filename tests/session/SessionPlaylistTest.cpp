#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;

class SessionPlaylist : public SessionFixture {};

TEST_F(SessionPlaylist, LoadingReplacesTheListAndStopsTheMusic) {
  load(2);
  session.playTrack(1, 0.5);
  load(3);
  EXPECT_FALSE(isPlaying());
  EXPECT_EQ(hardware.unitCount(), 0);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
  EXPECT_EQ(index(), 0);
  EXPECT_EQ(position(), 0);
  EXPECT_EQ(duration(), 0);
}

TEST_F(SessionPlaylist, LoadingWithAutoplayStartsTheFirstTrack) {
  const std::vector urls{addTrack(7), addTrack(3)};
  session.loadPlaylist(urls, true);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(playingURL(), track(7)) << "the order is the caller's";
}

TEST_F(SessionPlaylist, AnEmptyListKeepsTheOldOnePlaying) {
  load(2);
  session.playTrack(1, 0.5);
  session.loadPlaylist({}, true);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(index(), 1);
  EXPECT_THAT(order(), ElementsAre(1, 2));
}

TEST_F(SessionPlaylist, EveryEntryHasAnIdentityOfItsOwn) {
  const std::vector<FileURL> urls{addTrack(1), track(1)};
  session.loadPlaylist(urls, false);
  const auto before = session.playlistTracks().value();
  EXPECT_NE(before[0].id, before[1].id);
  session.loadPlaylist(urls, false);
  const auto after = session.playlistTracks().value();
  for (const auto& old : before)
    EXPECT_THAT(after, testing::Each(testing::Field(&PlaylistTrack::id, testing::Ne(old.id))));
}

TEST_F(SessionPlaylist, ATitleIsTheFileNameWithoutItsExtension) {
  EXPECT_EQ((PlaylistTrack{1, FileURL("/music/No. 5 in C.flac")}.title()), "No. 5 in C");
  EXPECT_EQ((PlaylistTrack{1, FileURL("/music/untitled")}.title()), "untitled");
}

TEST_F(SessionPlaylist, OnlyTheLastTrackHasNoNext) {
  load(2);
  EXPECT_TRUE(session.canPlayNext());
  session.playTrack(1, 0);
  EXPECT_FALSE(session.canPlayNext());
}

struct Move {
  int current;
  std::int64_t source;
  std::int64_t destination;
  std::vector<int> order;
  int newCurrent;
};

class MovingATrack : public SessionFixture, public testing::WithParamInterface<Move> {};

TEST_P(MovingATrack, KeepsTheCurrentEntryCurrentAndPlaying) {
  const Move& move = GetParam();
  load(3);
  session.playTrack(move.current, 0.2);
  const auto playing = playingURL();
  files.setReadGate([&](const FileURL& url, std::string_view call) {
    EXPECT_TRUE(call != "openAudioFile" || url != playing) << "prepared again";
  });
  session.moveTrack(move.source, move.destination);
  EXPECT_EQ(order(), move.order);
  EXPECT_EQ(index(), move.newCurrent);
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(session.currentTrackURL(), playing);
}

INSTANTIATE_TEST_SUITE_P(Moves, MovingATrack,
                         testing::Values(Move{2, 0, 5, {2, 3, 1}, 1},    // clamped to the end
                                         Move{0, 2, 0, {3, 1, 2}, 1},    // from behind the current one to before it
                                         Move{0, 0, 2, {2, 3, 1}, 2},    // the current one itself, down
                                         Move{2, 2, 0, {3, 1, 2}, 0},    // and up
                                         Move{1, 0, 1, {2, 1, 3}, 0},    // just past the current one
                                         Move{0, 1, 2, {1, 3, 2}, 0},    // both behind it
                                         Move{2, 1, 0, {2, 1, 3}, 2},    // both before it
                                         Move{1, 2, -4, {3, 1, 2}, 2},   // clamped to the beginning
                                         Move{1, 1, 1, {1, 2, 3}, 1},    // nowhere
                                         Move{1, 2, 99, {1, 2, 3}, 1},   // clamped to where it is
                                         Move{1, -1, 0, {1, 2, 3}, 1},   // no such entry
                                         Move{1, 3, 0, {1, 2, 3}, 1}));  // no such entry

TEST_F(SessionPlaylist, MovingNowherePublishesNothing) {
  load(3);
  session.playTrack(1, 0);
  advance(0.01);  // between two turns of the position's timer
  int changes = 0;
  const auto subscription = session.onChange([&] { ++changes; });
  session.moveTrack(1, 1);
  session.moveTrack(2, 7);
  session.moveTrack(9, 0);
  EXPECT_EQ(changes, 0);
}

TEST_F(SessionPlaylist, AListOfOneCannotBeReordered) {
  load(1);
  int changes = 0;
  const auto subscription = session.onChange([&] { ++changes; });
  session.moveTrack(0, 3);
  EXPECT_EQ(changes, 0);
}

TEST_F(SessionPlaylist, AMovedListGoesOnWithTheNeighbourThatTheTrackHasNow) {
  load(3);
  session.playTrack(0, 0);
  session.moveTrack(2, 1);
  playToTheEnd();
  EXPECT_EQ(playingURL(), track(3));
}

TEST_F(SessionPlaylist, ADurationLearntElsewhereIsAdoptedForTheTrackThatIsNotLoaded) {
  load(2);
  session.setKnownDuration(12.5, track(1));
  EXPECT_EQ(duration(), 12.5);
}

TEST_F(SessionPlaylist, AShorterDurationPullsThePositionBack) {
  load(1);
  session.playTrack(0, 0.8);
  interruptPlayback();
  session.setKnownDuration(5, track(1));
  EXPECT_EQ(position(), 5);
}

TEST_F(SessionPlaylist, ADurationLearntElsewhereIsIgnoredWhereItDoesNotBelong) {
  session.setKnownDuration(5, track(1));
  EXPECT_EQ(duration(), 0) << "no current track";
  load(2);
  session.setKnownDuration(5, track(2));
  EXPECT_EQ(duration(), 0) << "another track";
  for (const double nonsense : {0.0, -1.0, std::nan(""), HUGE_VAL}) session.setKnownDuration(nonsense, track(1));
  EXPECT_EQ(duration(), 0) << "no duration at all";
  session.playTrack(0, 0);
  session.setKnownDuration(5, track(1));
  EXPECT_EQ(duration(), trackSeconds) << "the engine knows better";
}

}  // namespace
}  // namespace tolvane
