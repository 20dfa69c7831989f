#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/storage/SqliteUserDefaults.h"
#include "platform/storage/SystemFileBookmarks.h"
#include "session/PlayerSession.h"
#include "session/SavedPlaybackState.h"
#include "session/SavedPlaylist.h"
#include "tests/crash/KilledPlayer.h"
#include "tests/support/SeededRandom.h"
#include "tests/support/TemporaryFolder.h"

namespace tolvane::test {
namespace {

using namespace std::chrono_literals;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kills = 100;  // a process starts many times slower there
#else
constexpr int kills = 1000;
#endif

class KilledPlayer : public testing::Test {
 protected:
  void SetUp() override {
    for (int number = 0; number < 12; ++number)
      music_.push_back(folder_.write("music/" + std::to_string(number) + ".wav", "x"));
    // A first playlist, so that from the beginning an empty one is wrong.
    MemoryLog log;
    SqliteUserDefaults store(storage(), log, {.patience = {.atStart = std::chrono::minutes(1)}});
    SystemFileBookmarks bookmarks;
    std::vector<FileBookmark> list;
    for (const auto& url : music_) list.push_back(bookmarks.make(url).value());
    store.setObject("TolvanePlayer.SavedPlaylist", encodedPlaylist(list));
    store.setObject("TolvanePlayer.SavedPlaybackState", encodedState({}).value());
    ASSERT_TRUE(store.synchronize());
    stored_ = StateJournal::digest(store);
  }

  [[nodiscard]] std::filesystem::path storage() const { return folder_.path() / "tolvane-player"; }
  [[nodiscard]] bool wasKilledWithinATransaction() const {
    std::error_code error;
    const auto size = std::filesystem::file_size(storage() / "defaults.sqlite-journal", error);
    return !error && size > 0;
  }

  /// The next start: the store holds one state that was announced, and the session shows exactly that.
  void expectAStoredState(const StateJournal& journal, int kill) {
    MemoryLog log;
    SqliteUserDefaults store(storage(), log, {.patience = {.atStart = std::chrono::minutes(1)}});
    ASSERT_THAT(log.messages(), testing::IsEmpty()) << "after kill " << kill;
    const auto possible = journal.possibleStates();
    stored_ = StateJournal::digest(store);
    const auto found = std::ranges::find(possible, stored_);
    ASSERT_NE(found, possible.end()) << "after kill " << kill << ": no state since the last certain one";
    if (found + 1 != possible.end()) ++behindTheLast_;

    const auto playlist = decodedPlaylist(store.value<UserDefaults::Data>("TolvanePlayer.SavedPlaylist").value());
    const auto state = decodedState(store.value<UserDefaults::Data>("TolvanePlayer.SavedPlaybackState").value());
    ASSERT_TRUE(playlist && state);
    SystemFileBookmarks bookmarks;
    ManualRunLoop runLoop;
    SimulatedAudioHardware hardware(runLoop);
    SimulatedAudioFileServices files;
    const PlayerSession session(hardware, files, store, bookmarks, runLoop, log);
    const auto urls = session.fileURLs();
    ASSERT_FALSE(urls.empty());
    ASSERT_EQ(urls.size(), playlist->bookmarks.size());
    const auto resolved = bookmarks.resolve(playlist->bookmarks);
    for (std::size_t i = 0; i < urls.size(); ++i) ASSERT_EQ(resolved[i].value().url, urls[i]);
    ASSERT_EQ(session.currentIndex().value(), state->currentIndex);
    ASSERT_EQ(session.playbackPosition().value(), state->position);
  }

  TemporaryFolder folder_;
  std::vector<FileURL> music_;
  std::uint64_t stored_ = 0;
  int behindTheLast_ = 0;
};

TEST_F(KilledPlayer, RestoresAStateThatItHadStoredHoweverItEnds) {
  StateJournal journal;
  const PlayerWorld world{.storage = storage(), .music = music_, .journal = journal};
  SeededRandom random(4);
  int withinTransactions = 0;
  std::size_t announced = 0;
  for (int kill = 1; kill <= kills; ++kill) {
    journal.beginWith(stored_);
    const auto lifetime = std::chrono::microseconds(random.between(1, 15'000));
    const int status = runUntilKilled(world, random.next(), lifetime);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "status " << status;
    announced += journal.announcedCount() - 1;
    withinTransactions += wasKilledWithinATransaction() ? 1 : 0;
    expectAStoredState(journal, kill);
    if (HasFatalFailure()) return;
  }
  std::printf("%d kills, %zu states announced; %d within a transaction, %d before the last state was stored\n", kills,
              announced, withinTransactions, behindTheLast_);
  EXPECT_GT(announced, static_cast<std::size_t>(kills)) << "the player did too little before it was killed";
  EXPECT_GT(withinTransactions, 0) << "no kill came at a moment that matters";
}

}  // namespace
}  // namespace tolvane::test
