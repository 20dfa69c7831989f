#include "tests/engine/campaign/CampaignActions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace tolvane {

using namespace std::chrono_literals;

const std::vector<CampaignActions::Choice>& CampaignActions::usersChoices() {
  using A = CampaignActions;
  static const std::vector<Choice> table{{14, &A::play},         {8, &A::pause},
                                         {12, &A::resume},       {10, &A::seek},
                                         {4, &A::stop},          {4, &A::setLevels},
                                         {3, &A::chooseDevice},  {6, &A::changeUpcoming},
                                         {6, &A::waitForTheEnd}, {7, &A::switchExclusiveAccess},
                                         {1, &A::startAnew}};
  return table;
}

const std::vector<CampaignActions::Choice>& CampaignActions::troubles() {
  using A = CampaignActions;
  static const std::vector<Choice> table{{4, &A::stealDevice},
                                         {4, &A::releaseDevice},
                                         {3, &A::changeRateFromOutside},
                                         {2, &A::unplug},
                                         {3, &A::replug},
                                         {2, &A::changeDefault},
                                         {1, &A::changePhysicalFormat},
                                         {1, &A::toggleStream},
                                         {1, &A::replaceStreams},
                                         {1, &A::resizeBuffer},
                                         {3, &A::announceWithoutReason},
                                         {3, &A::toggleProcessing},
                                         {1, &A::refuseRates},
                                         {1, &A::changeSettling},
                                         {1, &A::changeClock},
                                         {2, &A::failProperty},
                                         {1, &A::failSystemProperty},
                                         {3, &A::stall},
                                         {3, &A::stopByItself},
                                         {3, &A::raiseRenderError},
                                         {3, &A::runDry},
                                         {5, &A::failStage},
                                         {1, &A::hideSampleTime},
                                         {1, &A::reportAnotherFormat},
                                         {1, &A::loseComponent},
                                         {1, &A::deliverLate}};
  return table;
}

void CampaignActions::act() {
  static const std::vector<Choice> all = [] {
    std::vector<Choice> choices = usersChoices();
    choices.insert(choices.end(), troubles().begin(), troubles().end());
    return choices;
  }();
  act(all);
}

void CampaignActions::strike() { act(troubles()); }

void CampaignActions::act(std::span<const Choice> choices) {
  std::size_t total = 0;
  for (const Choice& choice : choices) total += choice.weight;
  std::size_t drawn = world_.random.below(total);
  for (const Choice& choice : choices) {
    if (drawn < choice.weight) return (this->*choice.action)();
    drawn -= choice.weight;
  }
}

RunLoop::Duration CampaignActions::drawPause() {
  auto& random = world_.random;
  constexpr double betweenAttempts = 0.5;  // seconds
  if (isOutage()) return durationFromSeconds(random.between(0, betweenAttempts));
  const std::size_t kind = random.below(100);
  if (kind < 20) return 0ns;
  if (kind < 45) return durationFromSeconds(random.between(0, 0.6));
  if (kind < 70) return durationFromSeconds(random.between(0, 5));
  // Hours go by while something plays; little can happen to a player that stands.
  const double longest = world_.isCloseUp ? 60 : (world_.isPlaying() ? 7200 : (world_.isPaused() ? 600 : 30));
  return durationFromSeconds(random.logarithmic(5, longest));
}

bool CampaignActions::isOutage() const { return world_.isActive() && world_.hardware.unitCount() == 0; }

AudioObjectID CampaignActions::likelyDevice() {
  const AudioObjectID bound = world_.watched.boundDevice();
  return bound != kAudioObjectUnknown && world_.random.percent(80) ? bound : anyDevice();
}

RunLoop::Duration CampaignActions::between(double seconds, double otherSeconds) {
  return durationFromSeconds(world_.random.logarithmic(seconds, otherSeconds));
}

// The user.

void CampaignActions::play() {
  const CampaignTrack& track = world_.random.pick(world_.tracks);
  note("play " + track.url.path());
  playTrack(world_, track);
}

/// Of the user, while there is no unit: the next attempt at a recovery carries it out.
void CampaignActions::countWish() {
  if (isOutage()) ++world_.wishesInOutages;
}

void CampaignActions::pause() {
  note("pause");
  countWish();
  world_.operate([this] { world_.player->pause(); });
}

void CampaignActions::resume() {
  note("resume");
  countWish();
  world_.resumesARecovery = world_.isPaused() && world_.hardware.unitCount() == 0;
  invariants_.waitForFramesAnew();
  world_.operate([this] { world_.player->resume(); });
  world_.resumesARecovery = false;
}

void CampaignActions::seek() {
  const CampaignTrack* track = world_.lastPlayed;
  const double duration = world_.player->duration().value();
  const double nowhere[] = {-1, duration + 1, std::numeric_limits<double>::quiet_NaN(),
                            std::numeric_limits<double>::infinity()};
  const std::size_t kind = world_.random.below(20);
  double seconds = world_.random.between(0, duration);
  if (kind < 4) seconds = nowhere[kind];
  if (kind == 4) seconds = 0;
  if (kind == 5) seconds = duration;
  if (kind < 9 && kind > 5) seconds = std::max(0.0, duration - world_.random.between(0, 1));
  note(fmt::format("seek to {} s of {} s", seconds, duration));
  countWish();
  const bool isLoaded = track != nullptr && world_.isActive();
  world_.operate([&] { world_.player->seek(seconds); });
  if (!isLoaded || !(seconds >= 0 && seconds <= duration)) return;
  const auto frame = std::min(track->frameAt(seconds), track->frames);
  world_.watched.expectFrame(frame);
  world_.heardNext = frame;
  world_.isHeardBeyondEnd = false;
}

/// Shortly before the end: there, and in the crossing, the next action strikes.
void CampaignActions::waitForTheEnd() {
  note("seek to just before the end");
  if (!world_.isPlaying() || world_.lastPlayed == nullptr) return;
  const double seconds = std::max(0.0, world_.lastPlayed->seconds() - world_.random.between(0, 0.7));
  world_.operate([&] { world_.player->seek(seconds); });
  if (!world_.isActive()) return;
  const auto frame = std::min(world_.lastPlayed->frameAt(seconds), world_.lastPlayed->frames);
  world_.watched.expectFrame(frame);
  world_.heardNext = frame;
  world_.isHeardBeyondEnd = false;
}

void CampaignActions::changeUpcoming() {
  note("another track is to follow");
  announceUpcoming(world_);
}

void CampaignActions::stop() {
  note("stop");
  world_.operate([this] { world_.player->stop(); });
}

void CampaignActions::setLevels() {
  auto& random = world_.random;
  // A scaled sample no longer carries its number: where every byte is checked, levels stay neutral.
  const bool isNeutral = world_.isCloseUp || random.percent(88);
  const double volume =
      isNeutral ? random.pick(std::array{1.0, 1.5, std::numeric_limits<double>::quiet_NaN()}) : random.between(0, 0.99);
  const double balance = isNeutral ? 0 : random.between(-1, 1);
  note(fmt::format("volume {}, balance {}", volume, balance));
  // Nor can it be seen in them where one track ends and the next begins.
  if (!isNeutral && world_.upcoming != nullptr) announceNothing(world_);
  world_.levelsAreNeutral = isNeutral;
  world_.watched.setReadsMarks(isNeutral);
  world_.operate([&] { world_.player->setOutputLevels(volume, balance); });
}

void CampaignActions::chooseDevice() {
  const AudioObjectID id = anyDevice();
  note(fmt::format("choose device {}", id));
  countWish();
  world_.operate([&] {
    // The unit is stopped first, and may have come to the next track.
    const auto begins = world_.player->isPreparing().subscribe([this](bool isPreparing) {
      if (!isPreparing) return;
      expectFromBeginning(world_, *world_.lastPlayed);
      world_.upcoming = nullptr;
    });
    world_.player->setOutputDevice(id);
  });
}

void CampaignActions::switchExclusiveAccess() {
  const bool enabled = world_.random.percent(60);
  note(enabled ? "exclusive access on" : "exclusive access off");
  countWish();
  world_.exclusiveAccess = enabled;
  std::optional<double> position;
  world_.operate([&] { position = world_.player->setExclusiveAccessEnabled(enabled); });
  if (!position) return;
  const double wanted = static_cast<double>(world_.watched.nextFrame()) / world_.lastPlayed->format.mSampleRate;
  if (std::abs(*position - wanted) > 1e-9)
    world_.fail(fmt::format("the switch said that it goes on at {} s, heard was up to {} s", *position, wanted));
}

void CampaignActions::startAnew() {
  note("quit and start anew");
  world_.operate([this] {
    invariants_.leavePlayer();
    world_.watchedPlayer = nullptr;
    world_.player.reset();
    invariants_.expectNothingHeld("by a player that is gone");
    world_.runLoop.sleepFor(500ms);  // a program takes its time to start: a rate that was put back has arrived
    world_.makePlayer();
    invariants_.watchPlayer();
  });
}

}  // namespace tolvane
