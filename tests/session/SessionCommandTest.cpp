#include "session/SessionCommand.h"

#include <gmock/gmock.h>

#include <limits>

namespace tolvane {
namespace {

using namespace command;
using testing::ElementsAre;

constexpr RunLoop::TimePoint now{std::chrono::seconds(100)};

FileURL file(int number) { return FileURL("/music/" + std::to_string(number) + ".wav"); }

/// Tracks 1 … 3 of ten seconds, of which the first has played for four.
SessionState playing() {
  SessionState state;
  state.tracks = PlaylistTracks({{1, file(1)}, {2, file(2)}, {3, file(3)}});
  state.isPlaying = true;
  state.loadedURL = file(1);
  state.duration = 10;
  state.sampleRate = 44100;
  state.startedAt = now - std::chrono::seconds(4);
  state.audioPathStatus = {AudioPathStatus::Kind::bitPerfect, "BIT-PERFECT", "Good."};
  state.devices = {{7, "A"}, {8, "B"}};
  return state;
}

SessionState after(const SessionCommand& command, SessionState state = playing()) {
  predict(command, now, state);
  return state;
}

TEST(PredictedPlay, ShowsTheTrackThatIsPreparedWithoutClockOrVerdict) {
  const auto state = after(PlayTrack{2, 0.5});
  EXPECT_EQ(state.currentIndex, 1);
  EXPECT_TRUE(state.isPreparing);
  EXPECT_FALSE(state.isPlaying);
  EXPECT_FALSE(state.startedAt);
  EXPECT_EQ(state.positionAt(now), 0) << "the length is not known yet";
  EXPECT_EQ(state.duration, 0);
  EXPECT_EQ(state.sampleRate, 0);
  EXPECT_EQ(state.audioPathStatus, AudioPathStatus::configuring());
}

TEST(PredictedPlay, SeeksInTheTrackThatIsLoaded) {
  const auto state = after(PlayTrack{1, 0.5});
  EXPECT_TRUE(state.isPlaying);
  EXPECT_EQ(state.positionAt(now), 5);
  EXPECT_EQ(state.audioPathStatus.kind, AudioPathStatus::Kind::bitPerfect);
}

TEST(PredictedPlay, IgnoresATrackThatIsNotThere) { EXPECT_EQ(after(PlayTrack{9, 0}), playing()); }

TEST(PredictedPause, StopsTheClockWhereItIs) {
  const auto paused = after(SetPlaying{false});
  EXPECT_TRUE(paused.isPaused);
  EXPECT_EQ(paused.positionAt(now + std::chrono::seconds(3)), 4);
  const auto resumed = after(SetPlaying{true}, paused);
  EXPECT_TRUE(resumed.isPlaying);
  EXPECT_EQ(resumed.positionAt(now + std::chrono::seconds(3)), 7);
}

TEST(PredictedPause, KeepsATrackThatIsPreparedFromStarting) {
  const auto preparing = after(PlayTrack{2, 0});
  EXPECT_TRUE(preparing.isGoingToPlay());
  const auto waiting = after(SetPlaying{false}, preparing);
  EXPECT_TRUE(waiting.isPreparing);
  EXPECT_FALSE(waiting.isGoingToPlay());
  EXPECT_TRUE(after(SetPlaying{true}, waiting).isGoingToPlay());
  EXPECT_TRUE(after(PlayTrack{2, 0.3}, waiting).isGoingToPlay());
}

TEST(PredictedStop, GoesToTheBeginningAndKeepsTheLength) {
  const auto state = after(StopPlayback{});
  EXPECT_FALSE(state.isPlaying || state.isPaused || state.isPreparing);
  EXPECT_EQ(state.positionAt(now), 0);
  EXPECT_EQ(state.duration, 10);
  EXPECT_EQ(state.audioPathStatus, AudioPathStatus::ready());
}

TEST(PredictedSeek, StaysWithinTheTrackAndIgnoresOtherTracks) {
  EXPECT_EQ(after(Seek{1, 6}).positionAt(now), 6);
  EXPECT_EQ(after(Seek{1, 60}).positionAt(now), 10);
  EXPECT_EQ(after(Seek{1, -1}).positionAt(now), 0);
  EXPECT_EQ(after(Seek{2, 6}), playing());
  EXPECT_EQ(after(Seek{1, std::numeric_limits<double>::quiet_NaN()}), playing());
}

TEST(PredictedMove, TakesTheCurrentIndexWithIt) {
  const auto state = after(MoveTrack{1, 5});
  EXPECT_THAT(state.tracks.entries(),
              ElementsAre(PlaylistTrack{2, file(2)}, PlaylistTrack{3, file(3)}, PlaylistTrack{1, file(1)}));
  EXPECT_EQ(state.currentIndex, 2);
  EXPECT_EQ(after(MoveTrack{9, 0}), playing());
  EXPECT_EQ(after(MoveTrack{1, 0}), playing());
}

TEST(PredictedOutput, IsWhatWasChosen) {
  EXPECT_EQ(after(SetOutputVolume{0.5}).outputVolume, 0.5);
  EXPECT_EQ(after(SetOutputVolume{7}).outputVolume, 1);
  EXPECT_EQ(after(SetOutputBalance{-2}).outputBalance, -1);
  EXPECT_EQ(after(SelectOutputDevice{8}).selectedDevice, (AudioDevice{8, "B"}));
  EXPECT_EQ(after(SelectOutputDevice{9}), playing());
  EXPECT_TRUE(after(SetExclusiveAccess{true}).isExclusiveAccessEnabled);
}

TEST(PredictedNothing, IsWhatTheAnswerBrings) {
  for (const SessionCommand& command :
       {SessionCommand(LoadPlaylist{{file(4)}, true}), SessionCommand(InsertTracks{{file(4)}, 2}),
        SessionCommand(UndoPlaylistChange{}), SessionCommand(SetKnownDuration{3, file(1)}),
        SessionCommand(StoreSetting{"key", {}}), SessionCommand(Save{}), SessionCommand(Ping{}),
        SessionCommand(CheckUnplayableFiles{})})
    EXPECT_EQ(after(command), playing()) << command.index();
}

std::vector<PlaylistTrackID> identities(const SessionState& state) {
  std::vector<PlaylistTrackID> ids;
  for (const auto& track : state.tracks) ids.push_back(track.id);
  return ids;
}

TEST(PredictedRemoval, LeavesTheMusicAloneThatIsNotRemoved) {
  const auto state = after(RemoveTracks{{3, 2}});
  EXPECT_THAT(identities(state), ElementsAre(1));
  EXPECT_EQ(state.currentIndex, 0);
  EXPECT_TRUE(state.isPlaying);
  EXPECT_EQ(state.positionAt(now), 4);
  auto third = playing();
  third.currentIndex = 2;
  EXPECT_EQ(after(RemoveTracks{{1}}, third).currentIndex, 1);
  EXPECT_EQ(after(RemoveTracks{{9}}), playing());
}

TEST(PredictedRemoval, OfWhatPlaysGoesOnWithWhatFollows) {
  const auto state = after(RemoveTracks{{1, 2}});
  EXPECT_THAT(identities(state), ElementsAre(3));
  EXPECT_EQ(state.currentIndex, 0);
  EXPECT_TRUE(state.isPreparing);
  EXPECT_EQ(state.loadedURL, file(3));
  EXPECT_EQ(state.duration, 0);
  EXPECT_EQ(state.positionAt(now), 0);
}

TEST(PredictedRemoval, OfTheLastOrOfAPausedOneStops) {
  auto last = playing();
  last.currentIndex = 2;
  last.loadedURL = file(3);
  const auto stopped = after(RemoveTracks{{3}}, last);
  EXPECT_FALSE(stopped.isPlaying || stopped.isPaused || stopped.isPreparing);
  EXPECT_EQ(stopped.currentIndex, 1);
  EXPECT_EQ(stopped.positionAt(now), 0);
  EXPECT_EQ(stopped.duration, 0);
  const auto waiting = after(RemoveTracks{{1}}, after(SetPlaying{false}));
  EXPECT_FALSE(waiting.isPlaying || waiting.isPaused || waiting.isPreparing);
  EXPECT_EQ(waiting.currentIndex, 0);
  const auto empty = after(RemoveTracks{{1, 2, 3}});
  EXPECT_TRUE(empty.tracks.empty());
  EXPECT_FALSE(empty.isGoingToPlay());
}

TEST(PredictedChangeOfTheList, TakesTheUndoOfTheOneBeforeIt) {
  auto state = playing();
  state.undoableChange = PlaylistChange{PlaylistChange::Kind::replaced, 7};
  EXPECT_EQ(after(MoveTrack{1, 0}, state).undoableChange, state.undoableChange) << "moves nothing";
  for (const SessionCommand& command : {SessionCommand(LoadPlaylist{{file(4)}, true}), SessionCommand(MoveTrack{1, 2}),
                                        SessionCommand(InsertTracks{{file(4)}, 2}), SessionCommand(RemoveTracks{{1}}),
                                        SessionCommand(UndoPlaylistChange{})})
    EXPECT_EQ(after(command, state).undoableChange, std::nullopt) << command.index();
}

/// Which of all commands a newer one makes superfluous, by their places in the variant.
std::vector<std::size_t> supersededBy(const SessionCommand& newer) {
  const std::vector<SessionCommand> all{PlayTrack{1, 0},
                                        SetPlaying{},
                                        StopPlayback{},
                                        Seek{1, 0},
                                        LoadPlaylist{{file(1)}, true},
                                        MoveTrack{1, 0},
                                        InsertTracks{{file(4)}, 0},
                                        RemoveTracks{{1}},
                                        UndoPlaylistChange{},
                                        SetKnownDuration{1, file(1)},
                                        SetOutputVolume{},
                                        SetOutputBalance{},
                                        SelectOutputDevice{},
                                        SetExclusiveAccess{},
                                        StoreSetting{"key", {}},
                                        Save{},
                                        WatchPath{},
                                        WatchTime{},
                                        Ping{},
                                        CheckUnplayableFiles{}};
  EXPECT_EQ(all.size(), std::variant_size_v<SessionCommand>);
  std::vector<std::size_t> found;
  for (const auto& older : all)
    if (supersedes(newer, older)) found.push_back(older.index());
  return found;
}

template <typename Command>
const std::size_t at = SessionCommand(Command{}).index();

TEST(Superseding, LeavesOutOnlyWhatTheNewerCommandMakesUndone) {
  EXPECT_THAT(supersededBy(PlayTrack{2, 0}), ElementsAre(at<PlayTrack>, at<SetPlaying>));
  EXPECT_THAT(supersededBy(SetPlaying{}), ElementsAre(at<SetPlaying>));
  EXPECT_THAT(supersededBy(StopPlayback{}), ElementsAre()) << "the track that was chosen stays the current one";
  EXPECT_THAT(supersededBy(Seek{1, 5}), ElementsAre(at<Seek>));
  EXPECT_THAT(supersededBy(Seek{2, 5}), ElementsAre()) << "another track";
  EXPECT_THAT(supersededBy(LoadPlaylist{{file(2)}, true}),
              ElementsAre(at<PlayTrack>, at<SetPlaying>, at<Seek>, at<LoadPlaylist>, at<SetKnownDuration>))
      << "what its undo brings back is the list with the moves and removals";
  EXPECT_THAT(supersededBy(LoadPlaylist{}), ElementsAre()) << "an empty list changes nothing";
  EXPECT_THAT(supersededBy(MoveTrack{1, 2}), ElementsAre()) << "moves add up";
  EXPECT_THAT(supersededBy(InsertTracks{{file(1)}, 0}), ElementsAre());
  EXPECT_THAT(supersededBy(RemoveTracks{{1}}), ElementsAre());
  EXPECT_THAT(supersededBy(UndoPlaylistChange{}), ElementsAre());
  EXPECT_THAT(supersededBy(SetOutputVolume{}), ElementsAre(at<SetOutputVolume>));
  EXPECT_THAT(supersededBy(SetOutputBalance{}), ElementsAre(at<SetOutputBalance>));
  EXPECT_THAT(supersededBy(SelectOutputDevice{}), ElementsAre(at<SelectOutputDevice>));
  EXPECT_THAT(supersededBy(SetExclusiveAccess{}), ElementsAre(at<SetExclusiveAccess>));
  EXPECT_THAT(supersededBy(StoreSetting{"key", {}}), ElementsAre(at<StoreSetting>));
  EXPECT_THAT(supersededBy(StoreSetting{"other", {}}), ElementsAre());
  EXPECT_THAT(supersededBy(Save{}), ElementsAre(at<Save>));
  EXPECT_THAT(supersededBy(WatchPath{}), ElementsAre(at<WatchPath>));
  EXPECT_THAT(supersededBy(WatchTime{}), ElementsAre(at<WatchTime>));
  EXPECT_THAT(supersededBy(Ping{}), ElementsAre(at<Ping>));
  EXPECT_THAT(supersededBy(CheckUnplayableFiles{}), ElementsAre(at<CheckUnplayableFiles>));
}

}  // namespace
}  // namespace tolvane
