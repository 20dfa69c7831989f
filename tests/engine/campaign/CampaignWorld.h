#pragma once
// One world of the fault campaign: clock, hardware, files and a player, and what the campaign knows of them without
// asking the player. The test's thread. Everything in it follows from its seed.

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/BitPerfectAudioPlayer.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "tests/engine/campaign/CampaignRandom.h"
#include "tests/engine/campaign/CampaignTracks.h"
#include "tests/engine/campaign/WatchedHardware.h"

namespace tolvane {

/// Passes each line on and keeps none: a campaign writes millions.
class CampaignLog final : public Log {
 public:
  void write(LogLevel, std::string_view, std::string_view message) override { onLine(message); }

  std::function<void(std::string_view)> onLine = [](std::string_view) {};
};

/// What the campaign knows of a device besides its script.
struct DeviceLedger {
  double restRate = 0;                   ///< where it must stand again when nothing plays
  std::vector<double> alsoAcceptable{};  ///< rates that others gave it meanwhile
  bool anyRateIsAcceptable = false;      ///< it went away, was taken or refused: the rate could not be put back
  bool hasLied = false;  ///< its properties failed since nothing was playing: what is shown may rest on that
  int activeFaults = 0;  ///< of its properties
};

class CampaignWorld {
 public:
  static constexpr std::int32_t otherProcess = 4321;
  using TimePoint = RunLoop::TimePoint;

  CampaignWorld(std::uint64_t worldSeed, CampaignTracks& allTracks);
  CampaignWorld(const CampaignWorld&) = delete;
  CampaignWorld& operator=(const CampaignWorld&) = delete;

  /// Called before each operation, with what was heard until then still to be looked at.
  std::function<void()> beforeOperation = [] {};
  /// Runs one of the player's operations; publications meanwhile are its doing.
  void operate(const std::function<void()>& operation);
  [[nodiscard]] bool isInOperation() const { return operationDepth_ > 0; }

  /// Remembers the first failure; the world stops there.
  void fail(const std::string& what);
  [[nodiscard]] const std::optional<std::string>& failure() const { return failure_; }
  void note(std::string action);
  /// Seed, step, simulated time and the last actions.
  [[nodiscard]] std::string report() const;

  /// The hardware does that later, also while the player's thread sleeps. Nothing happens any more once the world ends.
  void later(RunLoop::Duration delay, std::function<void()> event);

  void makePlayer();
  /// Nothing has been asked of the player that comes next.
  void forgetPlayer();
  [[nodiscard]] bool isPlaying() const { return watchedPlayer != nullptr && watchedPlayer->isPlaying().value(); }
  [[nodiscard]] bool isPaused() const { return watchedPlayer != nullptr && watchedPlayer->isPaused().value(); }
  [[nodiscard]] bool isPreparing() const { return watchedPlayer != nullptr && watchedPlayer->isPreparing().value(); }
  [[nodiscard]] bool isActive() const { return isPlaying() || isPaused(); }
  [[nodiscard]] AudioPathStatus::Kind pathKind() const { return watchedPlayer->audioPathStatus().value().kind; }
  [[nodiscard]] double hoursPassed() const;
  [[nodiscard]] SimulatedDevice& device(AudioObjectID id) { return hardware.device(id); }
  [[nodiscard]] bool ownsDevice(AudioObjectID id);
  /// All devices: what is shown of them may be wrong, or their rate lost, until nothing plays.
  void excuseRates();
  /// Something happened that may keep frames from flowing for a while.
  void trouble() { lastTrouble = runLoop.now(); }
  [[nodiscard]] std::vector<SimulatedStreamConfig> drawStreams();
  [[nodiscard]] std::vector<SampleAlteration> drawAlterations();  ///< at least one
  [[nodiscard]] double drawRate();

  // Constant after construction.
  const std::uint64_t seed;
  const bool isCloseUp;  ///< real rates, small buffers, every heard byte looked at
  CampaignTracks& shelves;
  const std::vector<CampaignTrack>& tracks;

  CampaignRandom random;
  ManualRunLoop runLoop;
  CampaignLog log;
  SimulatedAudioHardware hardware{runLoop};
  WatchedHardware watched;
  std::vector<AudioObjectID> devices;
  std::unique_ptr<BitPerfectAudioPlayer> player;         ///< null where a session has the player
  const BitPerfectAudioPlayer* watchedPlayer = nullptr;  ///< that player, or the session's
  /// What the owner of the player has installed permanently: its own timers and property listeners.
  std::size_t timersAtRest = 0;
  std::size_t mostPlayingTimers = 5;  ///< of the engine, beside those at rest, while a track plays
  std::size_t moreTimersAtRest = 0;  ///< and for a while
  std::size_t listenersAtRest = 0;

  // What was asked of the player.
  const CampaignTrack* lastPlayed = nullptr;
  std::uint64_t playsStarted = 0;
  std::int64_t wishesInOutages = 0;  ///< pause, resume, seek, device and Exclusive Access while there was no unit
  bool exclusiveAccess = false;
  bool resumesARecovery = false;  ///< a pause ends between two attempts, before there is a unit again
  bool levelsAreNeutral = true;
  bool goesOnToNextTrack = true;            ///< a track that ends is followed by another from within the notification
  const CampaignTrack* upcoming = nullptr;  ///< what the player is to play after this one; null: nothing
  bool isUpcomingChanging = false;          ///< it is being notified of that
  std::optional<std::int64_t> heardNext;    ///< the frame that must be heard next; none: not known
  bool isEndingTrack = false;               ///< a completion was counted in this turn: the device is given back
  bool mayBeSilent = false;                 ///< silence may be heard before that frame
  bool isHeardBeyondEnd = false;            ///< and that is one of the track that follows without a gap

  // What was done to the hardware.
  std::map<AudioObjectID, DeviceLedger> ledgers;
  int unitsHideStops = 0;  ///< above 0: whether they run cannot be read
  int unitsHideTime = 0;   ///< above 0: their sample time cannot be read
  /// The client format that units report, whatever they took; none: the one they took.
  std::optional<AudioStreamBasicDescription> unitsReport;
  std::uint64_t step = 0;
  RunLoop::Duration heldTime{};  ///< that the player's thread has been kept from its loop, all in all
  bool isHeldUp = false;         ///< it is so now
  std::string replay;            ///< the command that runs this world again
  TimePoint lastTrouble;         ///< when something last happened that may keep frames from flowing
  bool isChanged = true;         ///< something was published or written since the invariants were last checked

 private:
  void addDevices();
  [[nodiscard]] SimulatedDeviceConfig drawDevice(int number);

  const TimePoint start_ = runLoop.now();
  int operationDepth_ = 0;
  std::optional<std::string> failure_;
  std::deque<std::string> actions_;
  std::shared_ptr<int> isThere_ = std::make_shared<int>();
};

/// Plays one of the files, as the user does or from within a notification of completion.
void playTrack(CampaignWorld& world, const CampaignTrack& track);

/// Chooses the next track, or none, and sets it in the player.
void announceUpcoming(CampaignWorld& world);
void announceNothing(CampaignWorld& world);

/// The track that follows without a gap is the current one from now on.
void expectContinuation(CampaignWorld& world, const CampaignTrack& track);

/// What the campaign expects of any operation that starts `track` from its beginning.
void expectFromBeginning(CampaignWorld& world, const CampaignTrack& track);

}  // namespace tolvane
