#include "tests/engine/campaign/CampaignInvariants.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "platform/simulated/SimulatedOutputUnit.h"
#include "tests/engine/campaign/PathOracle.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;
using Path = AudioPathStatus::Kind;
using Exclusive = ExclusiveAccessStatus::Kind;

constexpr int mostAttempts = 3;

bool isVerdict(Path kind) {
  return kind == Path::bitPerfect || kind == Path::directPCM || kind == Path::processed || kind == Path::converted;
}

/// Checking comes before every verdict; an error stays until something is played or stopped.
bool mayFollow(Path before, Path after) {
  switch (before) {
    case Path::ready:
      return after == Path::configuring;
    case Path::configuring:
      return after != Path::configuring;
    case Path::error:
      return after == Path::configuring || after == Path::ready;
    default:
      return true;
  }
}

}  // namespace

CampaignInvariants::CampaignInvariants(CampaignWorld& world) : world_(world), lastActivity_(world.runLoop.now()) {
  world.beforeOperation = [this] { listen(); };
  world.log.onLine = [this](std::string_view line) { logged(line); };
  watchPlayer();
}

void CampaignInvariants::leavePlayer() {
  playedBefore_ = playingTime();
  subscriptions_.clear();
}

void CampaignInvariants::watchPlayer() {
  const auto& player = *world_.watchedPlayer;
  pathKind_ = player.audioPathStatus().value().kind;
  lastCount_ = player.playbackCompletionCount().value();
  crossingsSeen_ = player.statistics().crossings;
  subscriptions_.push_back(player.audioPathStatus().subscribe([this](const auto& status) { pathChanged(status); }));
  subscriptions_.push_back(
      player.exclusiveAccessStatus().subscribe([this](const auto& status) { exclusiveChanged(status); }));
  subscriptions_.push_back(player.isPlaying().subscribe([this](bool playing) { playingChanged(playing); }));
  subscriptions_.push_back(player.onChange([this] { world_.isChanged = true; }));
  subscriptions_.push_back(player.playbackCompletionCount().subscribe([this](auto count) { completed(count); }));
  world_.watchedPlayer->setDeliveryFinished([this](const DeliveryReport& report) { delivered(report); });
}

/// The simulated devices are given what the player renders: only the player's own levels can make a difference.
void CampaignInvariants::delivered(const DeliveryReport& report) {
  const bool isAltered = report.result == DeliveryReport::Result::differs;
  if (isAltered) ++alteredDeliveries_;
  if (report.result == DeliveryReport::Result::matches) ++wholeDeliveries_;
  require(!isAltered || report.reason == DeliveryReport::Reason::levels, deliverySentence(report));
  require(report.result != DeliveryReport::Result::damaged, deliverySentence(report));
  require(report.reason != DeliveryReport::Reason::layout && report.reason != DeliveryReport::Reason::channels,
          deliverySentence(report));
}

// At each publication.

void CampaignInvariants::pathChanged(const AudioPathStatus& status) {
  const Path before = std::exchange(pathKind_, status.kind);
  require(mayFollow(before, status.kind),
          fmt::format("path status went from {} to {}", kindName(before), kindName(status.kind)));
  if (status.kind == Path::configuring && !world_.isInOperation())
    require(world_.isActive() || world_.isPreparing(), "a recovery began while nothing was playing");
  if (status.kind == Path::ready && !world_.isInOperation()) owesCompletion_ = !std::exchange(declinedNext_, false);
  if (status.kind == Path::error && status.detail.starts_with("The output device did not recover")) recoveryGaveUp();
  require(status.kind != Path::processed || mayBeProcessed(world_), "DSP ACTIVE and nothing processes the samples");
  if (status.kind == Path::directPCM || status.kind == Path::bitPerfect)
    require(world_.levelsAreNeutral, "levels are active, the verdict does not say so");
  const auto stages = world_.watchedPlayer != nullptr ? world_.watchedPlayer->signalPath().value() : nullptr;
  require(world_.watchedPlayer == nullptr || (stages != nullptr) == isVerdict(status.kind),
          "the stages of a path and the verdict on it come together");
  require(stages == nullptr || stages->isUnaltered() == (status.kind == Path::bitPerfect),
          "the verdict is " + status.label + ", against its stages");
  if (status.kind != Path::bitPerfect) return;
  ++bitPerfectVerdicts_;
  if (const auto reason = reasonAgainstBitPerfect(world_)) world_.fail("BIT-PERFECT was published, but " + *reason);
}

void CampaignInvariants::exclusiveChanged(const ExclusiveAccessStatus& status) {
  const AudioObjectID bound = world_.watched.boundDevice();
  const bool isBound = bound != kAudioObjectUnknown;
  const bool mayLie = isBound && (world_.ledgers[bound].hasLied || !world_.device(bound).isPresent());
  require((status.kind == Exclusive::off) == !world_.exclusiveAccess,
          fmt::format("exclusive access became {} against the switch", kindName(status.kind)));
  switch (status.kind) {
    case Exclusive::off:
      break;
    case Exclusive::requested:
      require(!isBound, "exclusive access became requested while an output was configured");
      break;
    case Exclusive::checking:
      require(world_.pathKind() == Path::configuring, "exclusive access became checking outside a configuration");
      break;
    case Exclusive::active:
      require(isBound && (world_.ownsDevice(bound) || mayLie), "exclusive access became active without ownership");
      break;
    case Exclusive::lost:
      require(isBound && (!world_.ownsDevice(bound) || mayLie),
              "exclusive access became lost while the device is ours");
      break;
    case Exclusive::unavailable:
      require(
          isBound && (mayLie || world_.device(bound).config().properties.missing.contains(kAudioDevicePropertyHogMode)),
          "exclusive access became unavailable on a device that has it");
      break;
  }
}

RunLoop::Duration CampaignInvariants::playingTime() const {
  return playedBefore_ + (world_.isPlaying() ? world_.runLoop.now() - playingSince_ : 0ns);
}

void CampaignInvariants::playingChanged(bool isPlaying) {
  const auto now = world_.runLoop.now();
  if (!isPlaying) playedBefore_ += now - playingSince_;
  playingSince_ = now;
  if (isPlaying)
    require(world_.hardware.unitCount() == 1 || world_.resumesARecovery, "playing was published without a unit");
}

void CampaignInvariants::completed(std::int64_t count) {
  ++completions_;
  require(count == lastCount_ + 1, "the completion count did not grow by one");
  lastCount_ = count;
  world_.isEndingTrack = true;
  const auto crossings = world_.watchedPlayer->statistics().crossings;
  if (std::exchange(crossingsSeen_, crossings) != crossings) return crossed();
  require(owesCompletion_ && !world_.isInOperation() && !world_.isActive(), "a completion came out of order");
  owesCompletion_ = false;
  require(world_.watched.reachedEnd(), "a completion came before the end");
  listen();
  const auto now = world_.runLoop.now();
  const std::int64_t unheard = world_.lastPlayed->frames - world_.watched.nextFrame();
  const bool isCalm = now - world_.lastTrouble > 15s;
  // The rounding of a clock that is a little slow may leave a frame behind.
  if (isCalm) require(unheard <= 1, fmt::format("the last {} frames were not heard", unheard));
  if (!world_.goesOnToNextTrack) return;
  if (world_.upcoming != nullptr && world_.random.percent(90)) return playTrack(world_, *world_.upcoming);
  const CampaignTrack* next = &world_.random.pick(world_.tracks);
  while (!next->isPlayable && world_.random.percent(98)) next = &world_.random.pick(world_.tracks);
  playTrack(world_, *next);
}

/// The next track followed without a gap, and the device has come to it.
void CampaignInvariants::crossed() {
  ++crossings_;
  if (!world_.player) {  // its session has been notified, and may not have played the next track
    declinedNext_ = !world_.isInOperation() && !world_.watchedPlayer->currentURL().value();
    return;
  }
  listen();
  // Without the sample time, the player waits for what it has rendered as long as it takes to play it, and no longer
  // where the device stalls meanwhile.
  require(world_.watched.hasHeardCrossing() || world_.unitsHideTime > 0,
          "a completion came before the next track was heard");
  require(world_.upcoming != nullptr || world_.isUpcomingChanging, "another track is heard, and none was to follow");
  if (world_.upcoming == nullptr || (!world_.goesOnToNextTrack && !world_.isInOperation())) {
    declinedNext_ = !world_.isInOperation();
    return;
  }
  const CampaignTrack& next = *world_.upcoming;
  if (world_.isUpcomingChanging) return playTrack(world_, next);
  world_.operate([&] {
    expectContinuation(world_, next);
    world_.upcoming = nullptr;
    world_.player->play(next.url);
  });
  require(world_.isPlaying() && world_.watchedPlayer->currentURL().value() == next.url,
          "the track that is heard is not the current one");
  announceUpcoming(world_);
}

void CampaignInvariants::logged(std::string_view line) {
  require(!line.contains("was called by an observer of a change"), std::string(line));
  constexpr std::string_view recovered = "Recovered output at frame ";
  if (line.starts_with(recovered)) {
    const std::string wanted = fmt::format("{}{} on attempt ", recovered, world_.watched.nextFrame());
    require(line.starts_with(wanted), fmt::format("{}, but heard was up to {}", line, world_.watched.nextFrame()));
    return recoveryWasTried();
  }
  if (!line.starts_with("Output recovery attempt ")) return;
  attemptFailedInTurn_ = true;
  recoveryWasTried();
}

void CampaignInvariants::recoveryWasTried() {
  ++allAttempts_;
  require(world_.isActive() && !world_.isInOperation(), "a recovery was tried while nothing was playing");
  if (std::exchange(playsSeen_, world_.playsStarted) != world_.playsStarted) attemptsInARow_ = attemptsSinceCalm_ = 0;
  if (playingTime() - playedAtLastAttempt_ >= 30s) attemptsInARow_ = 0;
  playedAtLastAttempt_ = playingTime();
  ++attemptsSinceCalm_;
  require(++attemptsInARow_ <= mostAttempts, "a fourth recovery in a row");
}

void CampaignInvariants::recoveryGaveUp() {
  ++surrenders_;
  require(!world_.isInOperation(), "recovery gave up within an operation");
  require(
      playsSeen_ == world_.playsStarted && attemptsSinceCalm_ >= mostAttempts,
      fmt::format("recovery gave up after {} attempts", playsSeen_ == world_.playsStarted ? attemptsSinceCalm_ : 0));
  const bool putRateBack = world_.watched.rateWriteCount() != rateWritesBeforeTurn_;
  require(attemptFailedInTurn_ || !putRateBack, "giving up changed the rate");
  world_.excuseRates();  // the one end that leaves the rate as it is
}

// Soon after processing has begun or ended.

void CampaignInvariants::processingChanged(AudioObjectID id) {
  if (world_.watched.boundDevice() != id || !isVerdict(world_.pathKind())) return;
  constexpr auto notified = 1ms;  // time does not advance before observers have been notified
  const bool unitCanBeRead = !world_.hardware.unitFaults().isDue(UnitStage::readFormat);
  // A clock that can be read only while it runs may show another rate as soon as the device goes on.
  const bool clockStands = world_.watched.hasDied();
  world_.later(notified, [this, id, unitCanBeRead, clockStands, held = world_.heldTime] {
    if (clockStands != world_.watched.hasDied()) return;
    if (world_.heldTime == held && !world_.isHeldUp) checkVerdictOnProcessing(id, unitCanBeRead);
  });
  expectNoRecovery();
}

/// In both directions: nothing else may have changed the truth without a notification, because the verdict is new.
void CampaignInvariants::checkVerdictOnProcessing(AudioObjectID id, bool unitCanBeRead) {
  if (world_.isInOperation() || world_.watched.boundDevice() != id || !isVerdict(world_.pathKind())) return;
  if (!world_.device(id).isPresent() || world_.ledgers[id].hasLied) return;
  ++processingVerdicts_;
  const bool isShown = world_.pathKind() == Path::bitPerfect;
  const auto reason = reasonAgainstBitPerfect(world_);
  require(!isShown || !reason, "processing changed, BIT-PERFECT is shown, but " + reason.value_or(""));
  require(isShown || reason || !unitCanBeRead,
          "processing changed, BIT-PERFECT is not shown, but nothing speaks against it");
}

void CampaignInvariants::expectNoRecovery() {
  constexpr auto longestTrouble = 40s;
  constexpr auto longestRecovery = 3s;  // from one attempt to the next
  constexpr auto soon = 1s;
  const auto now = world_.runLoop.now();
  if (now - world_.lastTrouble < longestTrouble || now - lastActivity_ < longestRecovery) return;
  world_.later(soon, [this, step = world_.step, plays = world_.playsStarted, trouble = world_.lastTrouble,
                      attempts = allAttempts_] {
    const bool isUndisturbed = world_.step == step && world_.playsStarted == plays && world_.lastTrouble == trouble;
    if (!isUndisturbed) return;
    ++undisturbedProcessings_;
    require(allAttempts_ == attempts, "processing behind the unit led to a recovery");
  });
}

// After a turn.

void CampaignInvariants::afterTurn() {
  world_.isEndingTrack = false;
  rateWritesBeforeTurn_ = world_.watched.rateWriteCount();
  attemptFailedInTurn_ = false;
  if (world_.watched.takeWritten()) world_.isChanged = true;
  if (!std::exchange(world_.isChanged, false)) return;
  lastActivity_ = world_.runLoop.now();
  require(!(world_.isPlaying() && world_.isPaused()), "playing and paused at once");
  require(world_.hardware.unitCount() <= 1, "more than one unit");
  require(!owesCompletion_, "READY came by itself, but no completion");
  if (world_.isActive())
    checkActive();
  else if (world_.isPreparing())
    checkPreparing();
  else
    checkStopped();
  checkOwnership();
}

void CampaignInvariants::checkStopped() {
  const auto& player = *world_.watchedPlayer;
  const Path kind = world_.pathKind();
  require(kind == Path::ready || kind == Path::error, "nothing plays, but the path status says otherwise");
  require(kind == Path::error || !player.currentURL().value(), "nothing is loaded, but a URL is shown");
  require(player.duration().value() == 0 && player.sampleRate().value() == 0, "a duration or rate without a track");
  expectNothingHeld("while nothing plays");
}

void CampaignInvariants::checkPreparing() {
  const auto& player = *world_.watchedPlayer;
  require(world_.pathKind() == Path::configuring, "a track is prepared, but the path status says otherwise");
  require(player.currentURL().value().has_value(), "a track is prepared, but no URL is shown");
  require(player.duration().value() == 0 && player.sampleRate().value() == 0, "a duration or rate before the track");
  require(world_.hardware.openDeviceCount() <= static_cast<std::size_t>(world_.hardware.unitCount()),
          "a device is open without a unit while a track is prepared");
}

void CampaignInvariants::expectNothingHeld(const std::string& when) {
  require(world_.hardware.unitCount() == 0, "a unit is held " + when);
  require(world_.hardware.openDeviceCount() == 0, "a device is open " + when);
  require(world_.hardware.listenerCount() == world_.listenersAtRest, "a listener is held " + when);
  const std::size_t timers = world_.runLoop.pendingTimerCount();
  require(timers >= world_.timersAtRest && timers <= world_.timersAtRest + world_.moreTimersAtRest,
          "a timer is pending " + when);
  require(world_.shelves.files().openFileCount() == 0, "a file is open " + when);
}

void CampaignInvariants::checkActive() {
  const auto& player = *world_.watchedPlayer;
  const CampaignTrack* track = world_.lastPlayed;
  const Path kind = world_.pathKind();
  const bool hasUnit = world_.hardware.unitCount() == 1;
  require(hasUnit ? isVerdict(kind) : kind == Path::configuring,
          fmt::format("{} a unit, the path status is {}", hasUnit ? "with" : "without", kindName(kind)));
  require(track != nullptr && player.currentURL().value() == track->url, "the URL is not the track's");
  require(std::abs(player.duration().value() - track->seconds()) < 1e-9, "the duration is not the track's");
  require(player.sampleRate().value() == track->format.mSampleRate, "the rate is not the track's");
  const std::size_t mostTimers =
      world_.timersAtRest + world_.moreTimersAtRest + (world_.isPlaying() ? world_.mostPlayingTimers : 2);
  require(world_.runLoop.pendingTimerCount() <= mostTimers, "more timers than there are uses for");
  require(hasUnit || world_.hardware.listenerCount() == world_.listenersAtRest,
          "listeners are installed without an output");
}

void CampaignInvariants::checkOwnership() {
  for (const AudioObjectID id : world_.devices) {
    if (!world_.ownsDevice(id) || world_.ledgers[id].hasLied) continue;
    require(world_.exclusiveAccess, "a device is owned while Exclusive Access is off");
    require(world_.isActive() || world_.isPreparing(), "a device is owned while nothing plays");
    require(world_.watched.boundDevice() == id, "a device is owned without a unit on it");
  }
}

// After a step.

void CampaignInvariants::afterStep(RunLoop::Duration passed, bool wasPlaying) {
  afterTurn();
  listen();
  checkRestRates();
  checkProgress(passed, wasPlaying);
  checkVerdictIsFresh(passed);
  checkExclusiveIsFresh(passed);
}

void CampaignInvariants::checkRestRates() {
  constexpr auto longestSettling = 700ms;
  if (world_.isActive() || world_.isPreparing() || world_.runLoop.now() - lastActivity_ < longestSettling) return;
  for (auto& [id, ledger] : world_.ledgers) {
    const auto& config = world_.device(id).config();
    const auto isThere = [&](double rate) { return std::abs(rate - config.nominalRate) <= 1; };
    const bool canBePut = std::ranges::any_of(config.rates, [&](const auto& range) {
      return ledger.restRate >= range.mMinimum && ledger.restRate <= range.mMaximum;
    });
    const bool isFine = isThere(ledger.restRate) || std::ranges::any_of(ledger.alsoAcceptable, isThere) ||
                        ledger.anyRateIsAcceptable || !canBePut;
    if (!isFine)
      world_.fail(
          fmt::format("device {} stands at {} Hz, it was found at {} Hz", id, config.nominalRate, ledger.restRate));
    const bool stillFails = ledger.activeFaults > 0;
    ledger = {.restRate = config.nominalRate,
              .anyRateIsAcceptable = stillFails,
              .hasLied = stillFails,
              .activeFaults = ledger.activeFaults};
    if (world_.ownsDevice(id)) world_.device(id).setHogOwner(-1);  // its release had been made to fail
  }
}

void CampaignInvariants::checkProgress(RunLoop::Duration passed, bool wasPlaying) {
  constexpr auto longestWithoutFrames = 15s;
  const std::uint64_t frames = world_.watched.trackFramesRendered();
  const bool moved = std::exchange(framesSeen_, frames) != frames;
  const bool plays = wasPlaying && world_.isPlaying();
  // A pause within the step does not count.
  const auto played = playingTime() - std::exchange(playedAtLastStep_, playingTime());
  stuckFor_ = plays && !moved ? stuckFor_ + std::min(passed, played) : 0ns;
  require(stuckFor_ < longestWithoutFrames, "the player says that it plays, but no frame flows");
  const auto now = world_.runLoop.now();
  const bool isCalm = plays && passed >= 33s && now - world_.lastTrouble > passed;
  if (isCalm && playingTime() - playedAtLastAttempt_ > passed) attemptsSinceCalm_ = 0;
}

void CampaignInvariants::checkVerdictIsFresh(RunLoop::Duration passed) {
  constexpr auto longestStale = 2s;
  const AudioObjectID bound = world_.watched.boundDevice();
  const bool isStale = world_.pathKind() == Path::bitPerfect && !world_.ledgers[bound].hasLied && !world_.unitsReport &&
                       reasonAgainstBitPerfect(world_);
  staleFor_ = isStale ? staleFor_ + passed : 0ns;
  if (staleFor_ > longestStale)
    world_.fail("BIT-PERFECT is still shown, but " + reasonAgainstBitPerfect(world_).value_or("no longer so"));
}

void CampaignInvariants::checkExclusiveIsFresh(RunLoop::Duration passed) {
  constexpr auto longestFree = 2s;
  const AudioObjectID bound = world_.watched.boundDevice();
  constexpr auto longestUnverified = 600ms;  // ownership that ends with the hardware shows at the next verification
  if (bound == kAudioObjectUnknown || world_.ledgers[bound].hasLied || !world_.device(bound).isPresent()) {
    freeFor_ = unownedFor_ = 0ns;
    return;
  }
  const auto& config = world_.device(bound).config();
  const bool isShown = world_.watchedPlayer->exclusiveAccessStatus().value().kind == Exclusive::active;
  unownedFor_ = isShown && !world_.ownsDevice(bound) ? unownedFor_ + passed : 0ns;
  require(unownedFor_ <= longestUnverified, "exclusive access is shown as active, but the device is not ours");
  const bool canBeTaken = config.hogOwner == -1 && config.hogIsSettable && !config.ignoresHogWrites &&
                          !config.properties.missing.contains(kAudioDevicePropertyHogMode);
  // While the next track is prepared, the output that is kept for it stays as it is.
  freeFor_ = world_.isActive() && world_.exclusiveAccess && canBeTaken ? freeFor_ + passed : 0ns;
  require(freeFor_ <= longestFree, "a free device is not taken back");
}

}  // namespace tolvane
