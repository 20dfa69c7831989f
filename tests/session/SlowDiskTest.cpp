// What is saved while a disk does not answer: bookmarks are made in the background, and the program may end before.

#include "tests/session/RecordsFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SlowDisk : public RecordsFixture {
 protected:
  /// The session whose disk answers when the test says so.
  SlowDisk()
      : slow(hardware, files, defaults, bookmarks, runLoop, log,
             [this](BackgroundWork work) { asked.push_back(std::move(work)); }) {}

  void load(int count) {
    std::vector<FileURL> urls;
    for (int number = 1; number <= count; ++number) urls.push_back(addTrack(number));
    slow.loadPlaylist(urls, false);
  }
  void answer() {
    runLoop.runUntilIdle();
    for (const auto& work : std::exchange(asked, {})) work();
    runLoop.runUntilIdle();
  }

  std::vector<BackgroundWork> asked;
  PlayerSession slow;
};

TEST_F(SlowDisk, EndingTheProgramSavesTheListByItsPaths) {
  load(3);
  EXPECT_FALSE(defaults.stored().contains(playlistKey)) << "the disk has not answered yet";
  slow.moveTrack(2, 0);
  slow.playTrack(1, 0);
  slow.saveAll();
  EXPECT_EQ(bookmarks.madeCount(), 0);
  const auto run = nextRun();
  EXPECT_THAT(run->order(), ElementsAre(3, 1, 2));
  EXPECT_EQ(run->index(), 1);
  EXPECT_EQ(bookmarks.madeCount(), 3) << "the next run has better bookmarks made";
}

TEST_F(SlowDisk, AListIsSavedByItsPathsAfterThreeSeconds) {
  load(2);
  advance(2.9);
  EXPECT_FALSE(defaults.stored().contains(playlistKey));
  advance(0.2);
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2));
  slow.moveTrack(0, 1);
  EXPECT_THAT(savedOrder(), ElementsAre(2, 1)) << "later changes are saved as ever";
}

TEST_F(SlowDisk, TheBookmarksThatComeLateReplaceThePaths) {
  load(2);
  slow.moveTrack(0, 1);
  advance(3.1);
  answer();
  EXPECT_EQ(bookmarks.madeCount(), 2);
  bookmarks.rename(track(1), track(7));
  EXPECT_THAT(savedOrder(), ElementsAre(2, 7)) << "found by more than the path";
}

TEST_F(SlowDisk, ANewerListWaitsForItsOwnBookmarks) {
  load(1);
  advance(2);
  load(2);
  advance(2);
  EXPECT_FALSE(defaults.stored().contains(playlistKey)) << "the patience of the older list ended with it";
  advance(1.1);
  EXPECT_THAT(savedOrder(), ElementsAre(1, 2));
}

TEST_F(SlowDisk, WhatIsStoredStaysWhileItIsRestored) {
  MemoryUserDefaults stored(storedTracks(2, state(1, 4, 10)));
  const auto before = stored.stored();
  PlayerSession restoring(hardware, files, stored, bookmarks, runLoop, log,
                          [this](BackgroundWork work) { asked.push_back(std::move(work)); });
  restoring.saveAll();
  EXPECT_EQ(stored.stored(), before);
  EXPECT_THAT(stored.writes(), IsEmpty());
}

}  // namespace
}  // namespace tolvane
