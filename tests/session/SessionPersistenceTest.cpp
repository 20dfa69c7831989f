// When the session writes its records, and what stands in them.

#include "tests/session/RecordsFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SessionPersistence : public RecordsFixture {
 protected:
  static constexpr auto volumeKey = "TolvanePlayer.OutputVolume";
  static constexpr auto balanceKey = "TolvanePlayer.OutputBalance";

  /// The keys that the action writes.
  template <typename Action>
  [[nodiscard]] std::vector<std::string> writesOf(Action action) {
    defaults.forgetWrites();
    action();
    return defaults.writes();
  }
  /// The save that is due while playing happens now; the next follows two seconds later.
  void savePeriodically() { advance(0.05); }
  [[nodiscard]] std::int64_t savedIndex() const { return savedState()["currentIndex"].get<std::int64_t>(); }
  [[nodiscard]] double savedPosition() const { return savedState()["position"].get<double>(); }

  std::vector<std::string> theState{stateKey};
};

TEST_F(SessionPersistence, ANewSessionWritesNothing) { EXPECT_THAT(defaults.writes(), IsEmpty()); }

TEST_F(SessionPersistence, LoadingStoresPlaylistAndStateTogether) {
  EXPECT_THAT(writesOf([&] { load(3); }), ElementsAre("[", playlistKey, stateKey, "]"));
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2, 3));
  EXPECT_EQ(savedState(), nlohmann::json::parse(state(0, 0, 0)));
}

TEST_F(SessionPersistence, EveryTransportActionStoresTheState) {
  load(3);
  EXPECT_EQ(writesOf([&] { session.playTrack(1, 0.5); }), theState);
  EXPECT_EQ(savedState(), nlohmann::json::parse(state(1, 5, 10)));
  savePeriodically();
  EXPECT_EQ(writesOf([&] { session.playTrack(1, 0.25); }), theState) << "a seek";
  EXPECT_EQ(writesOf([&] { session.togglePausePlayback(); }), theState) << "a pause";
  EXPECT_EQ(writesOf([&] { session.togglePausePlayback(); }), theState) << "going on";
  EXPECT_EQ(writesOf([&] { session.previous(); }), theState);
  EXPECT_EQ(savedIndex(), 1);
  session.playTrack(1, 0.5);
  EXPECT_EQ(writesOf([&] { session.stopPlayback(); }), theState);
  EXPECT_EQ(savedState(), nlohmann::json::parse(state(1, 0, 10)));
  EXPECT_EQ(writesOf([&] { session.setOutputDevice(dac); }), theState);
}

TEST_F(SessionPersistence, WhatDoesNothingStoresNothing) {
  load(1);
  EXPECT_THAT(writesOf([&] {
                session.playTrack(1, 0);
                session.playTrack(-1, 0);
                session.stopPlayback();
                session.moveTrack(0, 1);
                session.loadPlaylist({}, true);
                session.setKnownDuration(5, track(2));
                session.setKnownDuration(0, track(1));
                session.setExclusiveAccessEnabled(false);
              }),
              IsEmpty());
}

TEST_F(SessionPersistence, ATrackThatCannotStartIsStillTheSavedPlace) {
  load(2);
  files.remove(track(2));
  EXPECT_EQ(writesOf([&] { session.playTrack(1, 0.5); }), theState);
  EXPECT_EQ(savedState(), nlohmann::json::parse(state(1, 0, 0)));
}

TEST_F(SessionPersistence, AKnownDurationIsStored) {
  load(1);
  EXPECT_EQ(writesOf([&] { session.setKnownDuration(123, track(1)); }), theState);
  EXPECT_EQ(savedState(), nlohmann::json::parse(state(0, 0, 123)));
}

TEST_F(SessionPersistence, ExclusiveAccessStoresTheStateOnlyWhereTheOutputWasRebuilt) {
  load(1);
  EXPECT_THAT(writesOf([&] { session.setExclusiveAccessEnabled(true); }), IsEmpty());
  session.playTrack(0, 0);
  savePeriodically();
  EXPECT_EQ(writesOf([&] { session.setExclusiveAccessEnabled(false); }), theState);
}

TEST_F(SessionPersistence, WhilePlayingTheStateIsStoredEveryTwoSeconds) {
  addTrack(1, 60);
  const std::vector urls{track(1)};
  session.loadPlaylist(urls, true);
  advance(0.05);
  EXPECT_NEAR(savedPosition(), 0.05, 0.001) << "the first time at once";
  EXPECT_THAT(writesOf([&] { advance(1.9); }), IsEmpty());
  EXPECT_EQ(writesOf([&] { advance(0.1); }), theState);
  EXPECT_NEAR(savedPosition(), 2.05, 0.001);
  EXPECT_THAT(writesOf([&] { advance(20); }), testing::SizeIs(10));
  EXPECT_NEAR(savedPosition(), 22.05, 0.001);
}

TEST_F(SessionPersistence, WhilePausedOrIdleTimeStoresNothing) {
  load(1);
  EXPECT_THAT(writesOf([&] { advance(10); }), IsEmpty());
  session.playTrack(0, 0);
  session.togglePausePlayback();
  EXPECT_THAT(writesOf([&] { advance(10); }), IsEmpty());
}

TEST_F(SessionPersistence, ACompletedTrackIsStoredAtItsEndAndThenTheNext) {
  load(2);
  session.playTrack(1, 0);
  advance(9.9);
  playToTheEnd();
  EXPECT_EQ(savedState(), nlohmann::json::parse(state(1, 10, 10))) << "the last one stays at its end";
  session.playTrack(0, 0);
  playToTheEnd();
  EXPECT_EQ(savedIndex(), 1);
}

TEST_F(SessionPersistence, ReorderingStoresPlaylistAndStateTogether) {
  load(3);
  session.playTrack(2, 0);
  savePeriodically();
  EXPECT_THAT(writesOf([&] { session.moveTrack(0, 5); }), ElementsAre("[", playlistKey, stateKey, "]"));
  EXPECT_THAT(savedOrder(), ElementsAre(2, 3, 1));
  EXPECT_EQ(savedIndex(), 1);
}

TEST_F(SessionPersistence, EveryReorderingStoresTheOrderThatIsShown) {
  for (int from = 0; from < 4; ++from) {
    for (int to = 0; to < 4; ++to) {
      load(4);
      session.moveTrack(from, to);
      EXPECT_EQ(savedOrder(), order()) << from << " to " << to;
    }
  }
}

TEST_F(SessionPersistence, AnEntryWithoutABookmarkPlaysAndIsNotCounted) {
  for (int number = 1; number <= 4; ++number) addTrack(number);
  bookmarks.failMaking(track(2), "No.");
  const std::vector urls{track(1), track(2), track(3), track(4)};
  session.loadPlaylist(urls, false);
  EXPECT_THAT(savedOrder(), ElementsAre(1, 3, 4));
  for (const auto& [index, saved] : {std::pair{0, 0}, {1, 0}, {2, 1}, {3, 2}}) {
    session.playTrack(index, 0);
    EXPECT_TRUE(isPlaying());
    EXPECT_EQ(savedIndex(), saved) << index;
  }
  session.moveTrack(1, 3);
  EXPECT_THAT(order(), ElementsAre(1, 3, 4, 2));
  EXPECT_EQ(index(), 2);
  EXPECT_EQ(savedIndex(), 2);
}

TEST_F(SessionPersistence, WithoutAnyBookmarkBothRecordsGo) {
  load(2);
  addTrack(3);
  bookmarks.failMaking(track(3), "No.");
  const std::vector urls{track(3)};
  session.loadPlaylist(urls, false);
  EXPECT_THAT(defaults.stored(), IsEmpty());
  session.playTrack(0, 0);
  EXPECT_THAT(defaults.stored(), IsEmpty());
}

TEST_F(SessionPersistence, TheLevelsAreStoredAsTheyAreKept) {
  EXPECT_THAT(writesOf([&] { session.setOutputVolume(0.25); }), ElementsAre(volumeKey));
  EXPECT_THAT(writesOf([&] { session.setOutputBalance(-0.5); }), ElementsAre(balanceKey));
  EXPECT_EQ(defaults.value<double>(volumeKey), 0.25);
  EXPECT_EQ(defaults.value<double>(balanceKey), -0.5);
  session.setOutputVolume(std::nan(""));
  session.setOutputBalance(0.5e-12);
  EXPECT_EQ(defaults.value<double>(volumeKey), 1.0);
  EXPECT_EQ(defaults.value<double>(balanceKey), 0.0);
  session.setOutputVolume(-3);
  EXPECT_EQ(defaults.value<double>(volumeKey), 0.0);
}

TEST_F(SessionPersistence, OnAFullDiskTheMusicPlaysOn) {
  load(2);
  defaults.failWrites(true);
  session.playTrack(1, 0);
  session.moveTrack(0, 1);
  advance(3);
  EXPECT_TRUE(isPlaying());
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2)) << "the state before";
}

TEST_F(SessionPersistence, EndingTheProgramSavesThePositionAsItIsThen) {
  load(1);
  session.playTrack(0, 0);
  advance(1.01);
  session.updatePlaybackPosition();
  session.persistPlaylist();
  session.persistPlaybackState();
  EXPECT_NEAR(savedPosition(), 1.01, 0.001);
}

}  // namespace
}  // namespace tolvane
