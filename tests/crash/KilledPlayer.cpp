#include "tests/crash/KilledPlayer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <exception>
#include <string>
#include <system_error>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/storage/SqliteUserDefaults.h"
#include "platform/storage/SystemFileBookmarks.h"
#include "session/PlayerSession.h"
#include "tests/support/SeededRandom.h"

namespace tolvane::test {

namespace {

/// Announces each state of the records before the store may have it.
class AnnouncedDefaults final : public UserDefaults {
 public:
  AnnouncedDefaults(SqliteUserDefaults& store, StateJournal& journal) : store_(store), journal_(journal) {
    for (const auto* key : {"TolvanePlayer.SavedPlaylist", "TolvanePlayer.SavedPlaybackState"}) {
      if (auto value = store_.object(key)) preview_.setObject(key, std::move(*value));
    }
  }

  [[nodiscard]] std::optional<Value> object(std::string_view key) const override { return store_.object(key); }
  void setObject(std::string_view key, Value value) override {
    preview_.setObject(key, value);
    change([&] { store_.setObject(key, std::move(value)); });
  }
  void removeObject(std::string_view key) override {
    preview_.removeObject(key);
    change([&] { store_.removeObject(key); });
  }

 private:
  /// Changes of a group wait for its end: nothing between its changes may ever be seen.
  void change(std::function<void()> forward) {
    if (openGroups_ > 0) {
      forward();
    } else {
      announce();
      forward();
    }
  }
  void beginGroup() override {
    if (openGroups_++ == 0) group_.emplace(store_);
  }
  void endGroup() override {
    if (--openGroups_ > 0) return;
    announce();
    group_.reset();
  }
  void announce() {
    if (!journal_.announce(StateJournal::digest(preview_))) ::pause();
  }

  SqliteUserDefaults& store_;
  StateJournal& journal_;
  MemoryUserDefaults preview_;
  int openGroups_ = 0;
  std::optional<Group> group_;
};

class User {
 public:
  User(const PlayerWorld& world, std::uint64_t seed) : world_(world), random_(seed) {
    hardware_.addDevice({});
    SimulatedPCMFile file;
    file.format = linearPCM(8000, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    file.data.resize(8000 * 4 * 3);
    for (const auto& url : world.music) files_.add(url, file);
  }

  [[noreturn]] void useForEver() {
    while (true) {
      act();
      if (random_.chance(0.1) && store_.synchronize()) world_.journal.confirm();
    }
  }

 private:
  void act() {
    const auto count = static_cast<std::uint64_t>(std::ssize(session_.playlistTracks().value()));
    const auto anyIndex = [&] { return static_cast<std::int64_t>(random_.below(count)); };
    switch (count == 0 ? 0 : random_.below(8)) {
      case 0:
        return load();
      case 1:
      case 2:
      case 3:
        return session_.moveTrack(anyIndex(), anyIndex());
      case 4:
        return session_.playTrack(anyIndex(), random_.fraction());
      case 5:
        return session_.togglePausePlayback();
      case 6:
        return session_.setOutputVolume(random_.fraction());
      default:
        return runLoop_.advance(std::chrono::milliseconds(random_.below(3000)));
    }
  }

  /// Sometimes long enough for a record of many pages.
  void load() {
    std::vector<FileURL> urls(1 + random_.below(random_.chance(0.2) ? 500 : 20));
    for (auto& url : urls) url = world_.music[random_.below(world_.music.size())];
    session_.loadPlaylist(urls, random_.chance(0.5));
  }

  const PlayerWorld& world_;
  SeededRandom random_;
  ManualRunLoop runLoop_;
  MemoryLog log_;
  SimulatedAudioHardware hardware_{runLoop_};
  SimulatedAudioFileServices files_;
  SqliteUserDefaults store_{world_.storage, log_, {.patience = {.atStart = std::chrono::minutes(1)}}};
  AnnouncedDefaults defaults_{store_, world_.journal};
  SystemFileBookmarks bookmarks_;
  PlayerSession session_{hardware_, files_, defaults_, bookmarks_, runLoop_, log_};
};

/// The kernel sends the signal; no code of this process can influence the moment.
void killMyselfAfter(std::chrono::nanoseconds lifetime) {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGKILL;
  timer_t timer{};
  itimerspec when{};
  when.it_value.tv_sec = lifetime.count() / 1'000'000'000;
  when.it_value.tv_nsec = lifetime.count() % 1'000'000'000;
  if (::timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 || ::timer_settime(timer, 0, &when, nullptr) != 0)
    ::_exit(2);
}

}  // namespace

int runUntilKilled(const PlayerWorld& world, std::uint64_t seed, std::chrono::nanoseconds lifetime) {
  const pid_t child = ::fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    // Now and then the end comes while the player starts, and restores what the last one has left half done.
    SeededRandom random(seed);
    const bool mayDieStarting = random.chance(0.2);
    if (mayDieStarting) killMyselfAfter(lifetime);
    try {
      User user(world, seed);
      if (!mayDieStarting) killMyselfAfter(lifetime);
      user.useForEver();
    } catch (const std::exception&) {
      ::_exit(3);
    }
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

}  // namespace tolvane::test
