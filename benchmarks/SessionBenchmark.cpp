// What a long playlist costs: finding it, restoring it, reordering it, saving it, going from track to track in it,
// saving the place in it. Over files and a database on the disk of the temporary folder, whose names the system has in
// memory. "stored" waits for the disk, which the running player never does.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <span>
#include <string>

#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/storage/SqliteUserDefaults.h"
#include "platform/storage/SystemFileBookmarks.h"
#include "session/AudioFileDiscovery.h"
#include "session/PlayerSession.h"
#include "ui/playlist/TrackFinder.h"

namespace tolvane {
namespace {

namespace fs = std::filesystem;

/// Files named like music, a hundred a folder, and a place for the store. Gone with the program.
class Collection {
 public:
  explicit Collection(std::int64_t count) {
    std::string pattern = (fs::temp_directory_path() / "tolvane-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    top_ = pattern;
    for (std::int64_t i = 0; i < count; ++i) {
      const fs::path album = top_ / "music" / ("Artist and album " + std::to_string(i / 100));
      if (i % 100 == 0) fs::create_directories(album);
      const fs::path file = album / ("Track of usual name " + std::to_string(i) + ".wav");
      std::ofstream(file) << "x";
      urls_.emplace_back(file.string());
    }
  }
  ~Collection() {
    std::error_code ignored;
    fs::remove_all(top_, ignored);
  }
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;

  [[nodiscard]] const std::vector<FileURL>& urls() const { return urls_; }
  [[nodiscard]] FileURL music() const { return FileURL((top_ / "music").string()); }
  [[nodiscard]] fs::path storage() const { return top_ / "tolvane-player"; }

 private:
  fs::path top_;
  std::vector<FileURL> urls_;
};

const Collection& collectionOf(std::int64_t count) {
  static std::map<std::int64_t, std::unique_ptr<Collection>> collections;
  auto& collection = collections[count];
  if (!collection) collection = std::make_unique<Collection>(count);
  return *collection;
}

/// A run of the player over what is stored.
struct Player {
  explicit Player(const fs::path& storage)
      : defaults(storage, log, {.patience = {.atStart = std::chrono::minutes(1)}}) {
    hardware.addDevice({});
  }

  MemoryLog log;
  ManualRunLoop runLoop;
  SimulatedAudioHardware hardware{runLoop};
  SimulatedAudioFileServices files;
  SqliteUserDefaults defaults;
  SystemFileBookmarks bookmarks;
  PlayerSession session{hardware, files, defaults, bookmarks, runLoop, log};
};

std::unique_ptr<Player> playerWith(std::int64_t count) {
  const auto& collection = collectionOf(count);
  auto player = std::make_unique<Player>(collection.storage());
  if (std::ssize(player->session.playlistTracks().value()) != count)
    player->session.loadPlaylist(collection.urls(), false);
  player->defaults.synchronize();
  return player;
}

void discover(benchmark::State& state) {
  const std::vector given{collectionOf(state.range(0)).music()};
  for (auto _ : state) {
    if (std::ssize(collectSupportedAudioFiles(given)) != state.range(0)) state.SkipWithError("not found");
  }
}

void load(benchmark::State& state) {
  const auto player = playerWith(state.range(0));
  for (auto _ : state) player->session.loadPlaylist(collectionOf(state.range(0)).urls(), false);
}

void restore(benchmark::State& state) {
  playerWith(state.range(0)).reset();
  for (auto _ : state) {
    const Player player(collectionOf(state.range(0)).storage());
    if (std::ssize(player.session.playlistTracks().value()) != state.range(0)) state.SkipWithError("not restored");
  }
}

void persist(benchmark::State& state) {
  const auto player = playerWith(state.range(0));
  for (auto _ : state) player->session.persistPlaylist();
}

void reorderStored(benchmark::State& state) {
  const auto player = playerWith(state.range(0));
  for (auto _ : state) {
    player->session.moveTrack(0, state.range(0));
    if (!player->defaults.synchronize()) state.SkipWithError("not stored");
  }
}

void reorder(benchmark::State& state) {
  const auto player = playerWith(state.range(0));
  for (auto _ : state) player->session.moveTrack(0, state.range(0));
}

/// So short that decoding it takes no time.
SimulatedPCMFile briefTrack() {
  SimulatedPCMFile file;
  file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
  file.sourceBitDepth = 16;
  file.data.resize(std::size_t{441} * 4);
  return file;
}

void advanceToNext(benchmark::State& state) {
  constexpr std::size_t playable = 10;
  const auto player = playerWith(state.range(0));
  const auto urls = player->session.fileURLs();
  for (const auto& url : std::span(urls).first(playable)) player->files.add(url, briefTrack());
  const auto window = player->session.onChange([] { benchmark::ClobberMemory(); });
  std::size_t index = 0;
  for (auto _ : state) {
    player->session.playTrack(static_cast<std::int64_t>(index++ % playable), 0);
    if (!player->session.player().isPlaying().value()) state.SkipWithError("not playing");
  }
}

/// A save that finds the place where it was is not even written: here it is another one each time.
void saveAnotherState(PlayerSession& session) {
  session.setKnownDuration(session.playbackDuration().value() + 1, *session.currentTrackURL());
}

void saveState(benchmark::State& state) {
  const auto player = playerWith(state.range(0));
  for (auto _ : state) saveAnotherState(player->session);
}

void saveStateStored(benchmark::State& state) {
  const auto player = playerWith(state.range(0));
  for (auto _ : state) {
    saveAnotherState(player->session);
    if (!player->defaults.synchronize()) state.SkipWithError("not stored");
  }
}

/// Names with accents: folding them takes longer than ASCII.
PlaylistTracks accentedTracks(std::int64_t count) {
  PlaylistTracks::Entries entries;
  for (std::int64_t i = 0; i < count; ++i)
    entries.push_back(
        {static_cast<PlaylistTrackID>(i) + 1, FileURL("/music/Künstler und Album " + std::to_string(i / 100) +
                                                      "/Stück mit üblichem Namen " + std::to_string(i) + ".wav")});
  return PlaylistTracks(std::move(entries));
}

/// What one turn of the window's thread does of a search for a letter that all names have.
void findPart(benchmark::State& state) {
  const auto tracks = accentedTracks(state.range(0));
  for (auto _ : state) {
    TrackFinder finder;
    finder.find(tracks, "u");
    if (finder.matches().empty()) state.SkipWithError("not found");
  }
}

/// All turns of it.
void findAll(benchmark::State& state) {
  const auto tracks = accentedTracks(state.range(0));
  for (auto _ : state) {
    TrackFinder finder;
    finder.find(tracks, "u");
    while (!finder.isComplete()) finder.proceed();
    if (std::ssize(finder.matches()) != state.range(0)) state.SkipWithError("not found");
  }
}

constexpr std::int64_t few = 10;
constexpr std::int64_t many = 100'000;

BENCHMARK(discover)->Arg(many)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(restore)->Arg(many)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(load)->Arg(many)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(persist)->Arg(many)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(reorder)->Arg(many)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(reorderStored)->Name("reorder, stored")->Arg(many)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(findPart)->Name("find a letter, a turn")->Arg(many)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(findAll)->Name("find a letter")->Arg(many)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(advanceToNext)->Name("advance")->Arg(few)->Arg(many)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(saveState)->Name("save state")->Arg(few)->Arg(many)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(saveStateStored)
    ->Name("save state, stored")
    ->Arg(few)
    ->Arg(many)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

}  // namespace
}  // namespace tolvane
