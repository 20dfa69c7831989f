// What a session makes of the records that an earlier one has left.

#include "tests/session/RecordsFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SessionRestore : public RecordsFixture {};

TEST_F(SessionRestore, TheNextRunStandsWhereTheLastOneEnded) {
  load(3);
  session.moveTrack(2, 0);
  session.playTrack(2, 0.4);
  const auto run = nextRun();
  EXPECT_THAT(run->order(), ElementsAre(3, 1, 2));
  EXPECT_EQ(run->index(), 2);
  EXPECT_EQ(run->position(), 4);
  EXPECT_EQ(run->duration(), 10);
  EXPECT_FALSE(run->session.player().isPlaying().value()) << "nothing plays at start";
  EXPECT_EQ(run->session.player().currentURL().value(), std::nullopt);
  EXPECT_THAT(run->defaults.writes(), IsEmpty()) << "nothing has changed";
}

TEST_F(SessionRestore, PlayStartsTheRestoredTrackAtItsPlace) {
  const auto run = nextRun(storedTracks(2, state(1, 4, 10)));
  run->session.togglePausePlayback();
  EXPECT_TRUE(run->session.player().isPlaying().value());
  EXPECT_EQ(run->session.player().currentURL().value(), track(2));
  EXPECT_NEAR(run->position(), 4, oneFrame);
}

TEST_F(SessionRestore, ATrackRestoredAtItsEndStartsFromItsBeginning) {
  const auto run = nextRun(storedTracks(1, state(0, 199.9, 200)));
  EXPECT_EQ(run->session.playbackProgress(), 0.9995);
  run->session.togglePausePlayback();
  EXPECT_TRUE(run->session.player().isPlaying().value());
  EXPECT_EQ(run->position(), 0);
}

TEST_F(SessionRestore, AFileThatWasDeletedLeavesTheList) {
  const auto stored = storedTracks(3, state(1, 4, 10));
  bookmarks.remove(track(2));
  const auto run = nextRun(stored);
  EXPECT_THAT(run->order(), ElementsAre(1, 3));
  EXPECT_EQ(run->index(), 1) << "the entry after it";
  EXPECT_EQ(run->position(), 0);
  EXPECT_EQ(run->duration(), 0);
  EXPECT_THAT(run->defaults.writes(), ElementsAre("[", playlistKey, stateKey, "]"));
  EXPECT_THAT(savedOrder(run->defaults.stored()), ElementsAre(1, 3));
  EXPECT_EQ(record(run->defaults.stored(), stateKey), nlohmann::json::parse(state(1, 0, 0)));
}

TEST_F(SessionRestore, TheLastEntryFollowsALastOneThatWasDeleted) {
  const auto stored = storedTracks(3, state(2, 4, 10));
  bookmarks.remove(track(3));
  const auto run = nextRun(stored);
  EXPECT_EQ(run->index(), 1);
  EXPECT_EQ(run->position(), 0);
}

TEST_F(SessionRestore, AnotherFileThatWasDeletedKeepsThePlace) {
  const auto stored = storedTracks(3, state(2, 4, 10));
  bookmarks.remove(track(1));
  const auto run = nextRun(stored);
  EXPECT_THAT(run->order(), ElementsAre(2, 3));
  EXPECT_EQ(run->index(), 1);
  EXPECT_EQ(run->position(), 4);
  EXPECT_EQ(run->duration(), 10);
  EXPECT_EQ(record(run->defaults.stored(), stateKey), nlohmann::json::parse(state(1, 4, 10)));
}

TEST_F(SessionRestore, AnIndexOutsideTheListIsTheNearestEntry) {
  const auto stored = storedTracks(3, state(7, 4, 10));
  EXPECT_EQ(nextRun(stored)->index(), 2);
  const auto run = nextRun(storedTracks(3, state(-1, 4, 10)));
  EXPECT_EQ(run->index(), 0);
  EXPECT_EQ(run->position(), 0);
}

TEST_F(SessionRestore, NumbersOutOfRangeAreBroughtIntoIt) {
  struct Case {
    double position;
    double duration;
    double restoredPosition;
    double restoredDuration;
  };
  for (const auto& [position, duration, restoredPosition, restoredDuration] :
       {Case{300, 200, 200, 200}, Case{-5, 200, 0, 200}, Case{5, -200, 0, 0}, Case{5, 0, 0, 0}, Case{5, 200, 5, 200}}) {
    const auto run = nextRun(storedTracks(1, state(0, position, duration)));
    EXPECT_EQ(run->position(), restoredPosition) << position << " of " << duration;
    EXPECT_EQ(run->duration(), restoredDuration) << position << " of " << duration;
  }
}

TEST_F(SessionRestore, WithoutAStateThePlaylistStandsAtItsBeginning) {
  for (const std::string text : {"", "no record", R"({"version":1,"currentIndex":1,"position":4})"}) {
    const auto run = nextRun(storedTracks(3, text));
    EXPECT_THAT(run->order(), ElementsAre(1, 2, 3)) << text;
    EXPECT_EQ(run->index(), 0);
    EXPECT_EQ(run->position(), 0);
    EXPECT_EQ(run->duration(), 0);
  }
}

TEST_F(SessionRestore, TheStateIsTakenWhateverItsVersion) {
  const auto run = nextRun(storedTracks(3, R"({"version":9,"currentIndex":1,"position":4,"duration":10})"));
  EXPECT_EQ(run->index(), 1);
  EXPECT_EQ(run->position(), 4);
}

TEST_F(SessionRestore, APlaylistThatCannotBeReadIsLeftAsItIs) {
  for (const std::string text : {"no record", R"({"version":2,"bookmarks":["Zm9v"]})", R"({"version":1})"}) {
    const MemoryUserDefaults::Values stored{{playlistKey, text}, {stateKey, state(0, 4, 10)}};
    const auto run = nextRun(stored);
    EXPECT_THAT(run->order(), IsEmpty()) << text;
    EXPECT_EQ(run->position(), 0);
    EXPECT_EQ(run->defaults.stored(), stored);
    run->session.persistPlaylist();
    EXPECT_THAT(run->defaults.stored(), IsEmpty()) << "the end of the program removes it";
  }
  EXPECT_THAT(nextRun({{playlistKey, 1.0}})->order(), IsEmpty()) << "a number is no record";
}

TEST_F(SessionRestore, WhenEveryFileIsGoneBothRecordsGo) {
  const auto stored = storedTracks(2, state(1, 4, 10));
  bookmarks.remove(track(1));
  bookmarks.remove(track(2));
  const auto run = nextRun(stored);
  EXPECT_THAT(run->order(), IsEmpty());
  EXPECT_THAT(run->defaults.stored(), IsEmpty());
  EXPECT_EQ(run->index(), 0);
}

TEST_F(SessionRestore, FilesThatCannotBeReadOrPlayedAndForeignBookmarksAreDropped) {
  auto stored = storedTracks(3, state(0, 4, 10));
  bookmarks.setReadable(track(1), false);
  bookmarks.rename(track(2), FileURL("/music/2.txt"));
  auto list = record(stored, playlistKey);
  list["bookmarks"].push_back("Zm9v");
  list["bookmarks"].push_back("");
  stored[playlistKey] = list.dump();
  const auto run = nextRun(stored);
  EXPECT_THAT(run->order(), ElementsAre(3));
  EXPECT_THAT(savedOrder(run->defaults.stored()), ElementsAre(3));
}

TEST_F(SessionRestore, AnExtensionInUpperCaseIsPlayed) {
  const auto stored = storedTracks(1, state(0, 4, 10));
  bookmarks.rename(track(1), FileURL("/music/1.WAV"));
  EXPECT_THAT(nextRun(stored)->session.fileURLs(), ElementsAre(FileURL("/music/1.WAV")));
}

TEST_F(SessionRestore, AFileThatWasRenamedStaysWithAFreshBookmark) {
  const auto stored = storedTracks(2, state(1, 4, 10));
  bookmarks.rename(track(2), track(7));
  const auto run = nextRun(stored);
  EXPECT_THAT(run->order(), ElementsAre(1, 7));
  EXPECT_EQ(run->index(), 1);
  EXPECT_EQ(run->position(), 4) << "the place stays";
  EXPECT_THAT(run->defaults.writes(), ElementsAre("[", playlistKey, stateKey, "]"));
  bookmarks.rename(track(7), track(8));
  bookmarks.add(track(7));
  EXPECT_THAT(nextRun(run->defaults.stored())->order(), ElementsAre(1, 8)) << "found again by its fresh bookmark";
}

TEST_F(SessionRestore, ABookmarkThatCannotBeRenewedIsKeptAndReported) {
  const auto stored = storedTracks(2, state(1, 4, 10));
  const FileURL renamed("/music/7\nnew\xC2\x9B\xE2\x80\xAE.wav");
  bookmarks.rename(track(2), renamed);
  bookmarks.failMaking(renamed, "The disk \x1B[1mis on fire.");
  testing::internal::CaptureStdout();
  const auto run = nextRun(stored);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Could not save access to 7?new??.wav: The disk ?[1mis on fire.\n");
  EXPECT_THAT(run->session.fileURLs(), ElementsAre(track(1), renamed));
  EXPECT_THAT(run->defaults.writes(), IsEmpty()) << "nothing was dropped or renewed";
  run->session.persistPlaylist();
  EXPECT_EQ(record(run->defaults.stored(), playlistKey), record(stored, playlistKey)) << "the old one is kept";
}

TEST_F(SessionRestore, EntriesHaveIdentitiesOfTheirOwn) {
  const auto run = nextRun(storedTracks(2, ""));
  const auto tracks = run->session.playlistTracks().value();
  ASSERT_EQ(tracks.size(), 2U);
  EXPECT_NE(tracks[0].id, tracks[1].id);
  EXPECT_NE(tracks[0].id, 0U);
}

TEST_F(SessionRestore, TheLevelsComeBackSanitisedAndReachTheEngine) {
  struct Case {
    UserDefaults::Value stored;
    double volume;
    double balance;
  };
  for (const auto& [stored, volume, balance] :
       {Case{0.5, 0.5, 0.5}, Case{-3.0, 0, -1}, Case{2.0, 1, 1}, Case{0.5e-12, 0.5e-12, 0}, Case{HUGE_VAL, 1, 0},
        Case{true, 1, 0}, Case{UserDefaults::Data("0.5"), 1, 0}}) {
    const auto run = nextRun({{"TolvanePlayer.OutputVolume", stored}, {"TolvanePlayer.OutputBalance", stored}});
    EXPECT_EQ(run->session.outputVolume().value(), volume);
    EXPECT_EQ(run->session.outputBalance().value(), balance);
    EXPECT_THAT(run->defaults.writes(), IsEmpty()) << "nothing is written back";
  }
  const auto run = nextRun({{"TolvanePlayer.OutputVolume", 0.5}});
  load(1);
  const std::vector urls{track(1)};
  run->session.loadPlaylist(urls, true);
  EXPECT_EQ(run->session.player().audioPathStatus().value().kind, AudioPathStatus::Kind::processed);
}

TEST_F(SessionRestore, AHundredThousandEntriesKeepTheirOrder) {
  constexpr int count = 100'000;
  std::vector<FileURL> urls;
  for (int number = 1; number <= count; ++number) {
    urls.push_back(track(number));
    bookmarks.add(urls.back());
  }
  session.loadPlaylist(urls, false);
  session.moveTrack(0, count);
  const auto run = nextRun();
  const auto numbers = run->order();
  ASSERT_EQ(numbers.size(), std::size_t{count});
  EXPECT_EQ(numbers.front(), 2);
  EXPECT_EQ(numbers.back(), 1);
  EXPECT_TRUE(std::ranges::is_sorted(numbers.begin(), numbers.end() - 1));
  EXPECT_EQ(run->index(), count - 1);
}

}  // namespace
}  // namespace tolvane
