#include "ui/ContentView.h"

#include <gmock/gmock.h>

#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// A window over a session; the background works when the test runs it.
class Window : public ProxyFixture {
 protected:
  std::vector<FileURL> addTracks(int count) {
    std::vector<FileURL> urls;
    for (int number = 1; number <= count; ++number) urls.push_back(addTrack(number));
    return urls;
  }

  void finishReading() {
    settle();
    for (const auto& task : std::exchange(tasks, {})) task();
    settle();
  }

  [[nodiscard]] PlaylistTrackID idOf(std::size_t row) const { return session.playlistTracks().value().at(row).id; }

  /// Drags a row to a height of another one and lets it go.
  void drag(std::size_t from, std::int64_t to, double y) {
    const std::string payload = content.beginPlaylistTrackDrag(idOf(from));
    drop(payload, to, y);
  }
  void drop(const std::string& payload, std::int64_t row, double y) {
    const PlaylistDropInfo info{true, y, [&](const PlaylistDropInfo::Completion& done) { done(payload); }};
    auto target = content.dropDelegate(row);
    target.dropEntered(info);
    target.performDrop(info);
    runLoop.runUntilIdle();
  }

  std::vector<FileURL> requested;
  std::vector<WaveformStore::Work> tasks;
  ContentView content{proxy, runLoop,
                      [this](const FileURL& url, const std::stop_token& stop) {
                        requested.push_back(url);
                        return makeWaveformData(files, url, maxWaveformSamples, stop);
                      },
                      [this](WaveformStore::Work work) { tasks.push_back(std::move(work)); }};
};

TEST_F(Window, PlaysTheFirstTrackOfANewPlaylist) {
  content.loadPlaylist(addTracks(3));
  settle();
  EXPECT_TRUE(isPlaying());
  EXPECT_EQ(playingURL(), track(1));
}

TEST_F(Window, AsksForTheWaveformsOfTheFirstFiveTracks) {
  content.loadPlaylist(addTracks(7));
  settle();
  finishReading();
  EXPECT_THAT(requested, ElementsAre(track(1), track(2), track(3), track(4), track(5)));
  EXPECT_EQ(content.waveforms().duration(track(1)), trackSeconds);
}

TEST_F(Window, AsksForWaveformsWhenThePlaylistChangesByOtherMeans) {
  load(2);
  EXPECT_THAT(tasks, SizeIs(2));
  finishReading();
  session.moveTrack(0, 1);
  settle();
  EXPECT_THAT(tasks, IsEmpty()) << "they are known";
}

TEST_F(Window, ForgetsWaveformsAndTheDragWithTheOldPlaylist) {
  content.loadPlaylist(addTracks(2));
  settle();
  finishReading();
  std::ignore = content.beginPlaylistTrackDrag(idOf(0));
  content.loadPlaylist(std::vector{addTrack(9)});
  settle();
  EXPECT_EQ(content.waveforms().samples(track(1)), nullptr);
  EXPECT_FALSE(content.playlistDragSession());
}

TEST_F(Window, AddsToThePlaylistAndKeepsItsWaveforms) {
  content.openFiles(addTracks(2), {});
  settle();
  finishReading();
  content.openFiles(std::vector{addTrack(8)}, {.replacesAll = false, .before = idOf(1)});
  content.openFiles(std::vector{addTrack(9)}, PlaylistPlace::atTheEnd());
  settle();
  EXPECT_THAT(order(), ElementsAre(1, 8, 2, 9));
  EXPECT_EQ(playingURL(), track(1));
  EXPECT_NE(content.waveforms().samples(track(1)), nullptr);
  content.openFiles(addTracks(1), {});
  settle();
  EXPECT_THAT(order(), ElementsAre(1));
}

TEST_F(Window, PlaysFromAFractionAndAsksForThatWaveform) {
  load(8);
  finishReading();
  content.playTrack(6, 0.5);
  settle();
  finishReading();
  EXPECT_EQ(playingURL(), track(7));
  EXPECT_NEAR(position(), trackSeconds / 2, oneFrame);
  EXPECT_NE(content.waveforms().samples(track(7)), nullptr);
}

TEST_F(Window, IgnoresTracksThatAreNotThere) {
  load(2);
  finishReading();
  content.playTrack(-1, 0);
  settle();
  content.playTrack(2, 0);
  EXPECT_FALSE(isPlaying());
  EXPECT_THAT(tasks, IsEmpty());
}

TEST_F(Window, KnowsTheCurrentTracksLengthFromItsWaveformBeforeItIsLoaded) {
  EXPECT_EQ(content.currentTrackDuration(), 0) << "no track";
  load(1);
  EXPECT_EQ(content.currentTrackDuration(), 0) << "not read yet";
  finishReading();
  EXPECT_EQ(content.currentTrackDuration(), trackSeconds);
  EXPECT_EQ(duration(), trackSeconds) << "the session received it";
  content.playTrack(0, 0);
  settle();
  EXPECT_EQ(content.currentTrackDuration(), trackSeconds);
}

TEST_F(Window, MovesATrackToWhereItIsDropped) {
  load(5);
  drag(0, 4, 40);
  EXPECT_THAT(order(), ElementsAre(2, 3, 4, 5, 1));
  drag(4, 0, 10);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3, 4, 5));
  EXPECT_FALSE(content.playlistDragSession());
}

TEST_F(Window, MovesNothingOntoItsOwnPlace) {
  load(5);
  drag(3, 3, 10);
  drag(3, 2, 50);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(Window, KeepsInsertionIndicesWithinTheList) {
  load(5);
  content.movePlaylistTrack(Uuid::ofTrack(idOf(2)), -2);
  settle();
  EXPECT_THAT(order(), ElementsAre(3, 1, 2, 4, 5));
  content.movePlaylistTrack(Uuid::ofTrack(idOf(0)), 99);
  settle();
  EXPECT_THAT(order(), ElementsAre(1, 2, 4, 5, 3));
}

TEST_F(Window, MovesNeitherAnOnlyTrackNorOneThatHasGone) {
  load(1);
  content.movePlaylistTrack(Uuid::ofTrack(idOf(0)), 1);
  settle();
  load(3);
  content.movePlaylistTrack(Uuid::ofTrack(999), 0);
  settle();
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
}

TEST_F(Window, MovesNothingForThePayloadOfAnEarlierDrag) {
  load(3);
  const std::string earlier = content.beginPlaylistTrackDrag(idOf(0));
  std::ignore = content.beginPlaylistTrackDrag(idOf(0));
  drop(earlier, 2, 50);
  EXPECT_THAT(order(), ElementsAre(1, 2, 3));
}

TEST_F(Window, MarksTheGapWhileTheDragIsUnderWay) {
  load(3);
  EXPECT_EQ(content.playlistInsertionIndex(), std::nullopt);
  std::ignore = content.beginPlaylistTrackDrag(idOf(0));
  EXPECT_EQ(content.playlistInsertionIndex(), std::nullopt);
  content.dropDelegate(1).dropEntered({true, 40, {}});
  EXPECT_EQ(content.playlistInsertionIndex(), 2);
  EXPECT_EQ(content.playlistDropTargetIndex(), 1);
  content.endPlaylistTrackDrag();
  EXPECT_EQ(content.playlistInsertionIndex(), std::nullopt);
  EXPECT_FALSE(content.playlistDragSession());
}

TEST_F(Window, LetsADropThatIsBeingCarriedOutEndByItself) {
  load(3);
  const std::string payload = content.beginPlaylistTrackDrag(idOf(0));
  auto row = content.dropDelegate(2);
  PlaylistDropInfo::Completion arrive;
  const PlaylistDropInfo info{true, 50, [&](PlaylistDropInfo::Completion done) { arrive = std::move(done); }};
  row.dropEntered(info);
  EXPECT_TRUE(row.performDrop(info));
  content.endPlaylistTrackDrag();  // the desktop reports that the drag is over
  EXPECT_EQ(content.playlistInsertionIndex(), std::nullopt);
  arrive(payload);
  runLoop.runUntilIdle();
  EXPECT_THAT(order(), ElementsAre(2, 3, 1));
}

}  // namespace
}  // namespace tolvane
