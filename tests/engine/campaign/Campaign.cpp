#include "tests/engine/campaign/Campaign.h"

#include <fmt/format.h>

#include <exception>

#include "platform/simulated/SimulatedOutputUnit.h"
#include "tests/engine/campaign/CampaignActions.h"
#include "tests/engine/campaign/CampaignInvariants.h"
#include "tests/engine/campaign/CampaignWorld.h"

namespace tolvane {
namespace {

constexpr double closeUpHours = 0.1;
constexpr double longHours = 60;

void step(CampaignWorld& world, CampaignInvariants& invariants, CampaignActions& actions) {
  ++world.step;
  actions.act();
  invariants.afterTurn();
  const auto before = world.runLoop.now();
  const bool wasPlaying = world.isPlaying();
  (void)world.runLoop.advanceUntil(
      [&] {
        invariants.afterTurn();
        return world.failure().has_value();
      },
      actions.drawPause());
  invariants.afterStep(world.runLoop.now() - before, wasPlaying);
}

/// The player ends in whatever state it is: nothing of it may be left.
void end(CampaignWorld& world, CampaignInvariants& invariants) {
  world.operate([&] {
    invariants.leavePlayer();
    world.watchedPlayer = nullptr;
    world.player.reset();
    invariants.expectNothingHeld("at the end");
    world.makePlayer();
  });
  world.runLoop.advance(std::chrono::minutes(1));
  if (SimulatedOutputUnit::liveCount() != 0) world.fail("a unit outlives its player");
}

}  // namespace

std::optional<std::string> runWorld(std::uint64_t seed, CampaignTracks& tracks, CampaignTotals& totals) {
  CampaignWorld world(seed, tracks);
  CampaignInvariants invariants(world);
  CampaignActions actions(world, invariants);
  const double hours = world.isCloseUp ? closeUpHours : longHours;
  try {
    while (!world.failure() && world.hoursPassed() < hours) step(world, invariants, actions);
    if (!world.failure()) end(world, invariants);
  } catch (const std::exception& error) {
    world.fail(error.what());
  }
  ++totals.worlds;
  totals.steps += static_cast<std::int64_t>(world.step);
  totals.hours += world.hoursPassed();
  totals.playingHours += invariants.playingHours();
  totals.completions += invariants.completions();
  totals.crossings += invariants.crossings();
  totals.recoveryAttempts += invariants.recoveryAttempts();
  totals.surrenders += invariants.surrenders();
  totals.bitPerfectVerdicts += invariants.bitPerfectVerdicts();
  totals.processingVerdicts += invariants.processingVerdicts();
  totals.undisturbedProcessings += invariants.undisturbedProcessings();
  totals.lateRates += world.watched.lateRates();
  totals.wishesInOutages += world.wishesInOutages;
  totals.heardFrames += invariants.heardFrames();
  totals.wholeDeliveries += invariants.wholeDeliveries();
  totals.alteredDeliveries += invariants.alteredDeliveries();
  return world.failure() ? std::optional(world.report()) : std::nullopt;
}

std::string CampaignTotals::text() const {
  return fmt::format(
      "{:.0f} simulated hours ({:.0f} of them playing) in {} worlds, {} steps, {} tracks played to their end, {} of "
      "them "
      "into the next without a gap, {} recoveries tried, {} given up, {} rates that arrived late, {} wishes during "
      "outages, {} times BIT-PERFECT, {} verdicts on processing behind the unit, {} heard frames compared, {} passes "
      "found to be delivered whole and {} altered",
      hours, playingHours, worlds, steps, completions, crossings, recoveryAttempts, surrenders, lateRates,
      wishesInOutages, bitPerfectVerdicts, processingVerdicts, heardFrames, wholeDeliveries, alteredDeliveries);
}

}  // namespace tolvane
