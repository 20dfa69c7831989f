#pragma once
// A world of the fault campaign whose player is reached over the seam: a session behind its host on the world's run
// loop, a proxy on a run loop of its own that goes on while the player's thread sleeps, and random delays between the
// two, in the background work and in the player's thread itself. The test's thread. Its seed determines everything in it.

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "session/SessionHost.h"
#include "session/SessionProxy.h"
#include "tests/engine/campaign/CampaignInvariants.h"
#include "tests/engine/campaign/CampaignWorld.h"
#include "tests/session/campaign/DelayedSeam.h"

namespace tolvane {

/// What a command asks for: the alternatives of SessionCommand in their order.
enum class Wish : std::size_t {
  play,
  setPlaying,
  stop,
  seek,
  load,
  move,
  insert,
  remove,
  undo,
  knownDuration,
  volume,
  balance,
  device,
  exclusive,
  setting,
  save,
  watch,
  watchTime,
  ping,
  checkFiles
};

/// A command on its way, as the user meant it.
struct SentCommand {
  Wish wish = Wish::ping;
  std::string about;  ///< the setting's key; the sought track's identity
  RunLoop::TimePoint at;
};

class SeamWorld {
 public:
  SeamWorld(std::uint64_t seed, CampaignTracks& tracks);
  ~SeamWorld();
  SeamWorld(const SeamWorld&) = delete;
  SeamWorld& operator=(const SeamWorld&) = delete;

  /// Has the window send a command that is meant so.
  void ask(Wish wish, std::string about, const std::function<void(SessionProxy&)>& send);
  /// Brings the window's time up to the world's.
  void tick();
  /// The player's thread is kept from its loop for that long, beginning with its next turn.
  void holdUp(RunLoop::Duration duration);
  /// All that is under way between the sides arrives, and what follows from it; time stands still.
  void settle();
  /// All background work ends.
  void finishBackground();
  /// The program ends and starts anew. REQUIRES: settled, and no background work under way.
  void startAnew();
  /// Window and player go; nothing may be held then.
  void end();
  /// After each turn of the player.
  void afterTurn();

  [[nodiscard]] PlayerSession& session() { return host->session(); }
  [[nodiscard]] SessionProxy& window() { return *proxy; }
  [[nodiscard]] DelayedSeam& seam() { return *seams_.back(); }
  /// Where the entry came from: the number of the load, and its place in it. Loads of an earlier run count as 0.
  struct Origin {
    std::uint64_t load = 0;
    std::size_t place = 0;
    auto operator<=>(const Origin&) const = default;
  };
  [[nodiscard]] std::optional<Origin> originOf(PlaylistTrackID id) const;
  /// The oldest command that the window has no answer to.
  [[nodiscard]] const SentCommand* oldestUnanswered() const;
  [[nodiscard]] bool isAnswered(std::uint64_t number) const;

  CampaignWorld world;
  CampaignRandom delays;
  ManualRunLoop windowsTime;
  SideLoop playersLoop;
  SideLoop windowsLoop;
  MemoryUserDefaults defaults;
  SimulatedFileBookmarks bookmarks;
  std::optional<SessionHost> host;
  std::optional<SessionProxy> proxy;
  std::optional<CampaignInvariants> invariants;
  /// After each change of what the window shows, and after a new proxy is there.
  std::function<void(const SessionState& before, const SessionState& now)> onShown = [](const auto&, const auto&) {};
  std::function<void()> onTick = [] {};

  // Counts.
  std::int64_t commandsSent = 0;
  std::int64_t commandsCarriedOut = 0;
  std::int64_t commandsReplaced = 0;
  std::int64_t undone = 0;  ///< changes of the list
  std::int64_t statesSeen = 0;
  std::int64_t holdUps = 0;
  std::int64_t starts = 0;  ///< of the program

 private:
  void makeSides();
  void leaveSides();
  void scheduleTick();
  [[nodiscard]] RunLoop::Duration drawDelay();
  [[nodiscard]] RunLoop::Duration drawBackgroundDelay();
  void runInBackground(BackgroundWork work);
  void runOnPlayer(const RunLoop::Action& action);
  void trackStarts();
  [[nodiscard]] const CampaignTrack& loadedTrack();

  void carryOut(const DelayedSeam::Command& command, const RunLoop::Action& action);
  void checkOrder(const DelayedSeam::Command& command);
  void beforeCommand(const SessionCommand& command);
  void afterCommand(const SessionCommand& command);
  void followList(const SessionCommand& command);
  void expectSought();
  void require(bool holds, const std::string& what) {
    if (!holds) world.fail(what);
  }

  const unsigned slowness_;  ///< percent of the messages that are late
  const RunLoop::Duration longestTick_;
  std::vector<std::unique_ptr<DelayedSeam>> seams_;  ///< of all runs of the program; the last is in use
  Subscription shown_;
  Subscription loaded_;
  Subscription prepared_;
  Subscription started_;
  Subscription followed_;
  std::vector<std::shared_ptr<BackgroundWork>> background_;  ///< not yet done

  SentCommand meant_;
  std::map<std::uint64_t, SentCommand> sent_;  ///< of this run, by number
  std::uint64_t lastCarriedOut_ = 0;
  std::map<PlaylistTrackID, Origin> origins_;
  std::size_t sizeBefore_ = 0;  ///< of the list, before the command that is carried out
  PlaylistTracks listNow_;     ///< as the player has it
  PlaylistTracks listBefore_;  ///< its last change
  std::uint64_t loadUnderWay_ = 0;

  bool hasTrackStarted_ = false;
  bool willSeek_ = false;
  bool isPathWatched_ = false;  ///< as the player knows it: it then has a timer for it
  bool wasOperation_ = false;   ///< since afterTurn() was called last
  std::optional<RunLoop::TimePoint> startedAt_;
};

}  // namespace tolvane
