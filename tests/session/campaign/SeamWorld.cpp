#include "tests/session/campaign/SeamWorld.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace tolvane {
namespace {

using namespace std::chrono_literals;

// Streams of random numbers that have nothing in common with the world's own.
constexpr std::uint64_t delaysOfSeed = 0x5EA3'0000'0000;

/// Seconds by which a reading of the device's position may be late: a period, and the time between readings.
constexpr double mostBehind = 0.2;

}  // namespace

SeamWorld::SeamWorld(std::uint64_t seed, CampaignTracks& tracks)
    : world(seed, tracks),
      delays(seed + delaysOfSeed),
      playersLoop(world.runLoop, [this](const RunLoop::Action& action) { runOnPlayer(action); }),
      windowsLoop(windowsTime),
      slowness_(delays.pick(std::array{2U, 10U, 50U})),
      longestTick_(delays.pick(std::array<RunLoop::Duration, 4>{10ms, 50ms, 200ms, 1s})) {
  world.replay = fmt::format("test_seam_campaign --seed {} --hours 0 --gtest_filter='*/0'", seed);
  world.goesOnToNextTrack = false;  // the session does
  world.forgetPlayer();
  for (const auto& track : world.tracks)
    if (track.url.path() != "/missing.wav") bookmarks.add(track.url);
  world.watched.setMayRender([this] { return world.isPlaying() || world.isPreparing(); });
  world.moreTimersAtRest = 1;  // the patience with the disk that makes bookmarks
  makeSides();
  scheduleTick();
}

SeamWorld::~SeamWorld() {
  shown_ = {};
  loaded_ = {};
  prepared_ = {};
  started_ = {};
  followed_ = {};
  invariants->leavePlayer();
  world.watchedPlayer = nullptr;
  proxy.reset();
  host.reset();
}

// The sides.

void SeamWorld::makeSides() {
  seams_.push_back(std::make_unique<DelayedSeam>(DelayedSeam::Parts{
      .playersTime = world.runLoop,
      .windowsTime = windowsTime,
      .playersLoop = playersLoop,
      .windowsLoop = windowsLoop,
      .later = [this](RunLoop::Duration delay, RunLoop::Action action) { world.later(delay, std::move(action)); },
      .drawDelay = [this] { return drawDelay(); },
      .onSent =
          [this](std::uint64_t number) {
            ++commandsSent;
            sent_[number] = {meant_.wish, meant_.about, windowsTime.now()};
          },
      .onCommand = [this](const DelayedSeam::Command& command,
                          const RunLoop::Action& action) { runOnPlayer([&] { carryOut(command, action); }); }}));
  ++starts;
  sent_.clear();
  origins_.clear();
  loadUnderWay_ = 0;
  lastCarriedOut_ = 0;
  world.operate([this] {
    host.emplace(SessionHost::Services{.hardware = world.watched,
                                       .files = world.shelves.files(),
                                       .defaults = defaults,
                                       .bookmarks = bookmarks,
                                       .runLoop = playersLoop,
                                       .log = world.log,
                                       .background = [this](BackgroundWork work) { runInBackground(std::move(work)); }},
                 seam().playersEnd());
  });
  world.watchedPlayer = &session().player();
  world.exclusiveAccess = defaults.value<bool>("TolvanePlayer.ExclusiveAccessEnabled").value_or(false);
  world.levelsAreNeutral = session().outputVolume().value() == 1 && session().outputBalance().value() == 0;
  world.watched.setReadsMarks(world.levelsAreNeutral);
  hasTrackStarted_ = false;
  isPathWatched_ = false;
  prepared_ = session().player().isPreparing().subscribe([this](bool isPreparing) {
    if (!isPreparing) return;
    world.watched.expectSilence();
    world.mayBeSilent = true;
  });
  started_ = session().player().duration().subscribe([this](double seconds) {
    if (seconds > 0 && world.isPreparing()) trackStarts();
  });
  followed_ = session().player().currentURL().subscribe([this](const std::optional<FileURL>& url) {
    if (!url || !world.isActive()) return;
    world.beforeOperation();
    require(world.watched.hasHeardCrossing() || world.unitsHideTime > 0, "another track is shown before it is heard");
    expectContinuation(world, loadedTrack());
  });
  loaded_ = session().playlistTracks().subscribe([this](const PlaylistTracks& list) {
    std::size_t place = 0;
    for (const auto& track : list)
      if (origins_.try_emplace(track.id, Origin{loadUnderWay_, place}).second) ++place;
  });
  finishBackground();
  listNow_ = listBefore_ = session().playlistTracks().value();
  world.runLoop.runUntilIdle();
  world.timersAtRest = world.runLoop.pendingTimerCount();
  world.mostPlayingTimers = 6;  // the session's, too
  world.listenersAtRest = world.hardware.listenerCount();
  if (invariants)
    invariants->watchPlayer();
  else
    invariants.emplace(world);

  tick();
  proxy.emplace(seam().windowsEnd(), windowsLoop);
  settle();
  shown_ = proxy->onChange([this](const SessionState& before, const SessionState& now) { onShown(before, now); });
}

void SeamWorld::leaveSides() {
  shown_ = {};
  loaded_ = {};
  prepared_ = {};
  started_ = {};
  followed_ = {};
  statesSeen += seam().seenCount();
  invariants->leavePlayer();
  proxy.reset();
  world.operate([this] {
    world.watchedPlayer = nullptr;
    host.reset();
  });
  world.timersAtRest = world.listenersAtRest = 0;
  for (const auto& work : std::exchange(background_, {}))
    if (const auto run = std::exchange(*work, nullptr)) run();
  invariants->expectNothingHeld("by a program that is gone");
}

void SeamWorld::startAnew() {
  leaveSides();
  world.forgetPlayer();
  world.runLoop.sleepFor(500ms);  // a program takes its time to start: a rate that was put back has arrived
  makeSides();
}

void SeamWorld::end() {
  leaveSides();
  world.runLoop.advance(1min);
}

// Time.

void SeamWorld::scheduleTick() {
  world.later(durationFromSeconds(delays.between(0.001, secondsFromDuration(longestTick_))), [this] {
    tick();
    scheduleTick();
  });
}

void SeamWorld::tick() {
  windowsTime.advance(world.runLoop.now() - windowsTime.now());
  if (proxy) onTick();
}

void SeamWorld::holdUp(RunLoop::Duration duration) {
  ++holdUps;
  world.runLoop.post([this, duration] {
    world.note(fmt::format("the player's thread is held up for {:.3f} s", secondsFromDuration(duration)));
    world.heldTime += duration;
    world.isHeldUp = true;
    world.trouble();
    world.runLoop.sleepFor(duration);
    world.trouble();
    world.isHeldUp = false;
  });
}

RunLoop::Duration SeamWorld::drawDelay() {
  if (!delays.percent(slowness_)) return delays.percent(50) ? 0ns : durationFromSeconds(delays.between(0, 0.03));
  return durationFromSeconds(delays.percent(80) ? delays.logarithmic(0.01, 1) : delays.logarithmic(0.5, 8));
}

RunLoop::Duration SeamWorld::drawBackgroundDelay() {
  if (delays.percent(30)) return 0ns;
  return durationFromSeconds(delays.percent(95) ? delays.logarithmic(0.001, 2) : delays.logarithmic(2, 60));
}

void SeamWorld::runInBackground(BackgroundWork work) {
  const auto held = std::make_shared<BackgroundWork>(std::move(work));
  background_.push_back(held);
  world.later(drawBackgroundDelay(), [this, held] {
    std::erase(background_, held);
    if (const auto run = std::exchange(*held, nullptr)) run();
  });
}

void SeamWorld::finishBackground() {
  while (!background_.empty()) {
    for (const auto& work : std::exchange(background_, {}))
      if (const auto run = std::exchange(*work, nullptr)) run();
    world.runLoop.runUntilIdle();
  }
}

void SeamWorld::settle() {
  tick();
  bool isUnderWay = true;
  while (isUnderWay) {
    isUnderWay = false;
    world.runLoop.post([&] {
      while (seam().deliverCommand()) isUnderWay = true;
    });
    world.runLoop.runUntilIdle();
    windowsTime.post([&] {
      while (seam().deliverState()) isUnderWay = true;
    });
    tick();
  }
  require(!proxy || lastCarriedOut_ == seam().sentCount(), "the last command of all was lost");
}

// The player's turns.

void SeamWorld::runOnPlayer(const RunLoop::Action& action) {
  const bool wasPreparing = world.isPreparing();
  world.operate([&] {
    action();
    const bool hasTrackStarted = std::exchange(hasTrackStarted_, false) && wasPreparing;
    const bool isSought = std::exchange(willSeek_, false);
    if (isSought || (hasTrackStarted && session().playbackPosition().value() > 0)) expectSought();
  });
  wasOperation_ = true;
}

const CampaignTrack& SeamWorld::loadedTrack() {
  const auto url = world.watchedPlayer->currentURL().value();
  const auto found = std::ranges::find_if(world.tracks, [&](const auto& track) { return track.url == url; });
  if (found == world.tracks.end()) throw std::runtime_error("what plays is no track of the playlist");
  return *found;
}

/// A track that was prepared is about to have its output; nothing of it has been rendered.
void SeamWorld::trackStarts() {
  hasTrackStarted_ = true;
  expectFromBeginning(world, loadedTrack());
}

/// Playback continues at the session's position.
void SeamWorld::expectSought() {
  const double seconds = session().playbackPosition().value();
  if (!world.isActive() || world.lastPlayed == nullptr) return;
  const CampaignTrack& track = *world.lastPlayed;
  const auto frame = std::min(track.frameAt(seconds), track.frames);
  world.watched.expectFrame(frame);
  world.heardNext = frame;
  world.isHeardBeyondEnd = false;
}

void SeamWorld::afterTurn() {
  if (!host) return;
  const auto startedAt = session().playbackStartedAt();
  const bool isSetAnew = startedAt && startedAt_ && startedAt != startedAt_;
  const auto heard = session().player().position();
  if (!std::exchange(wasOperation_, false) && isSetAnew && heard)
    require(std::abs(secondsFromDuration(world.runLoop.now() - *startedAt) - *heard) < mostBehind,
            "the clock of the track was set anew by itself, and not to what is heard");
  startedAt_ = startedAt;
}

}  // namespace tolvane
