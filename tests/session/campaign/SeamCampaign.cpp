#include "tests/session/campaign/SeamCampaign.h"

#include <fmt/format.h>

#include <exception>

#include "platform/simulated/SimulatedOutputUnit.h"
#include "tests/engine/campaign/CampaignActions.h"
#include "tests/session/campaign/SeamUser.h"
#include "tests/session/campaign/SeamWorld.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

constexpr double seamHoursOfCloseUp = 0.1;
constexpr double seamHours = 1;

RunLoop::Duration drawStep(CampaignWorld& world) {
  auto& random = world.random;
  const std::size_t kind = random.below(100);
  if (kind < 30) return 0ns;
  if (kind < 60) return durationFromSeconds(random.between(0, 0.6));
  if (kind < 85) return durationFromSeconds(random.between(0, 5));
  return durationFromSeconds(random.logarithmic(5, world.isCloseUp ? 30 : world.isPlaying() ? 1500 : 60));
}

/// What happens in a step, at once or while it lasts: also while the player's thread sleeps.
void happen(SeamWorld& seam, SeamUser& user, CampaignActions& actions, RunLoop::Duration step) {
  auto& random = seam.world.random;
  if (random.percent(25)) actions.strike();
  if (random.percent(10))
    seam.holdUp(durationFromSeconds(random.percent(70) ? random.logarithmic(0.01, 1) : random.logarithmic(1, 12)));
  for (std::size_t count = random.percent(30) ? 1 + random.below(6) : random.below(2); count > 0; --count) {
    if (random.percent(50))
      user.act();
    else
      seam.world.later(durationFromSeconds(random.between(0, secondsFromDuration(step))), [&] { user.act(); });
  }
}

void seamStep(SeamWorld& seam, SeamUser& user, CampaignActions& actions) {
  CampaignWorld& world = seam.world;
  CampaignInvariants& invariants = *seam.invariants;
  ++world.step;
  seam.defaults.forgetWrites();
  const auto before = world.runLoop.now();
  const auto heldBefore = world.heldTime;
  const bool wasPlaying = world.isPlaying();
  const auto playsBefore = world.playsStarted;
  const auto completionsBefore = invariants.completions();
  const auto step = drawStep(world);
  happen(seam, user, actions, step);
  const auto check = [&] {
    invariants.afterTurn();
    seam.afterTurn();
    return world.failure().has_value();
  };
  (void)check();
  (void)world.runLoop.advanceUntil(check, step);
  (void)world.runLoop.advanceUntil(check, 0ns);
  const bool isOneTrack = world.playsStarted == playsBefore && invariants.completions() == completionsBefore;
  // While the thread was held up, nothing could be noticed.
  invariants.afterStep(world.runLoop.now() - before - (world.heldTime - heldBefore), wasPlaying && isOneTrack);
  if (!world.failure() && world.random.percent(15)) {
    user.expectAgreement();
    (void)check();
  }
  if (world.failure() || !world.random.percent(1)) return;
  world.note("quit and start anew");
  user.expectAgreement();
  seam.finishBackground();
  seam.settle();
  // A program that is killed has saved every change, too.
  if (world.random.percent(50)) seam.ask(Wish::save, "", [](SessionProxy& window) { window.save(); });
  seam.settle();
  (void)check();
  if (world.failure()) return;
  seam.startAnew();
  user.beginAnew();
  (void)check();
}

void run(SeamWorld& seam, SeamTotals& totals) {
  CampaignWorld& world = seam.world;
  SeamUser user(seam);
  CampaignActions actions(world, *seam.invariants);
  const double hours = world.isCloseUp ? seamHoursOfCloseUp : seamHours;
  try {
    while (!world.failure() && world.hoursPassed() < hours) seamStep(seam, user, actions);
    if (!world.failure()) user.expectAgreement();
    if (!world.failure()) seam.end();
  } catch (const std::exception& error) {
    world.fail(error.what());
  }
  totals.agreements += user.agreements();
  totals.waitsShown += user.waitsShown();
  totals.bitPerfectShown += user.bitPerfectShown();
  totals.positionsShown += user.positionsShown();
  totals.diagnosticsShown += user.diagnosticsShown();
  totals.unplayableShown += user.unplayableShown();
}

}  // namespace

std::optional<std::string> runSeamWorld(std::uint64_t seed, CampaignTracks& tracks, SeamTotals& totals) {
  std::optional<std::string> report;
  {
    SeamWorld seam(seed, tracks);
    run(seam, totals);
    ++totals.worlds;
    totals.hours += seam.world.hoursPassed();
    totals.playingHours += seam.invariants->playingHours();
    totals.commands += seam.commandsSent;
    totals.replaced += seam.commandsReplaced;
    totals.undone += seam.undone;
    totals.states += seam.statesSeen;
    totals.holdUps += seam.holdUps;
    totals.starts += seam.starts;
    totals.completions += seam.invariants->completions();
    totals.recoveryAttempts += seam.invariants->recoveryAttempts();
    totals.heardFrames += seam.invariants->heardFrames();
    if (seam.world.failure()) report = seam.world.report();
  }
  if (!report && SimulatedOutputUnit::liveCount() != 0)
    report = fmt::format("a unit outlives its player, in the world of seed {}", seed);
  return report;
}

std::string SeamTotals::text() const {
  return fmt::format(
      "{:.0f} simulated hours ({:.0f} of them playing) over the seam in {} worlds, {} starts, {} commands sent, {} of "
      "them "
      "replaced, {} states seen, {} agreements, {} times held up, {} waits shown, {} times BIT-PERFECT shown, {} "
      "positions, "
      "{} tracks played to their end, {} recoveries tried, {} changes of the list undone, {} heard frames compared",
      hours, playingHours, worlds, starts, commands, replaced, states, agreements, holdUps, waitsShown, bitPerfectShown,
      positionsShown, completions, recoveryAttempts, undone, heardFrames);
}

}  // namespace tolvane
