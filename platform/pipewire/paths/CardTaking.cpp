#include "platform/pipewire/paths/CardTaking.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "platform/pipewire/units/PipeWireOutputUnit.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr RunLoop::Duration setUpLimit = 1s;  // for the session manager to set a sink up
constexpr RunLoop::Duration closeLimit = 1s;  // for the server to close the card
constexpr RunLoop::Duration heardLimit = 1s;  // for frames that the card still plays
constexpr RunLoop::Duration retryPause = 20ms;

}  // namespace

CardTaking::~CardTaking() {
  catalogue_.forEachKnown([this](const PipeWireDevice& device) {
    if (!switchedOff_.contains(&device)) return;
    if (view_.isOurs(device)) (void)toggleCardHog(device);
    restoreProfile(device);
  });
}

OSStatus CardTaking::toggleCardHog(const PipeWireDevice& device) {
  constexpr std::int32_t anyPID = -1;  // the write toggles, whatever its value
  return services_.cardHardware.setPropertyData(device.cardDevice, hogModeAddress, anyPID);
}

CardBefore CardTaking::cardNow(const PipeWireDevice& device) const {
  return {device.state.hasSink(), services_.server.facts().hasSessionManager};
}

OSStatus CardTaking::toggleHog(PipeWireDevice& device) {
  if (view_.isOurs(device)) {
    giveBack(device);
    notifications_.publish(device);
    return noErr;
  }
  const auto owner = view_.hogOwner(device);
  if (!owner) return owner.error();
  if (*owner != -1) return kAudioDevicePermissionsError;
  const auto wait = services_.server.beginWait();
  const OSStatus status = take(device);
  notifications_.publish(device);
  return status;
}

/// A unit that plays through the sink changes over to the card, and continues.
OSStatus CardTaking::take(PipeWireDevice& device) {
  SoundServer& server = services_.server;
  PipeWireOutputUnit* moving = device.isUnitOnSink() ? device.unit : nullptr;
  if (moving != nullptr && !device.retakePause.isOver(services_.runLoop.now())) return kAudioDevicePermissionsError;
  if (view_.expectsSink(device)) waitForSink(device);
  // A session manager whose new sink goes before it has set it up leaves it behind, and the card open with it.
  if (device.state.hasSink())
    server.waitUntil([&] { return !device.state.hasSink() || isSetUp(server.facts(), *device.state.sink()); },
                     setUpLimit);
  std::set<std::uint32_t> others;
  // The sink, and with it the stream, may have failed during these waits.
  if (const SoundServerStream* own = moving != nullptr ? moving->stream() : nullptr;
      own != nullptr && device.state.hasSink())
    others = othersOn(server.facts(), *device.state.sink(), own->facts().node);
  if (moving != nullptr) device.heardUntil = services_.runLoop.now() + moving->leaveSink();
  waitUntilHeard(device);
  const CardBefore before = cardNow(device);
  switchOff(device);
  const OSStatus status = toggleCardHogWithin(before.hadSink ? closeLimit : RunLoop::Duration::zero(), device);
  if (status == noErr)
    taken(device, before);
  else
    notTaken(device, before);
  if (status != noErr && moving != nullptr) {
    device.retakePause.attemptFailed(services_.runLoop.now());
    device.retakeObstacles.attemptFailed(std::move(others));
  }
  if (moving != nullptr) moving->goOn();
  return status;
}

void CardTaking::taken(PipeWireDevice& device, const CardBefore& before) {
  device.state.cardTaken(before);
  device.retakePause.reset();
}

void CardTaking::notTaken(PipeWireDevice& device, const CardBefore& before) {
  restoreProfile(device);
  if (before.hadSink && !device.state.hasSink() && device.state.isListed()) catalogue_.expectSink(device);
}

/// The server may take a moment to close the card; and a session manager that was just about to choose a profile for a
/// returned card chooses one, whatever was requested.
OSStatus CardTaking::toggleCardHogWithin(RunLoop::Duration limit, PipeWireDevice& device) {
  RunLoop& runLoop = services_.runLoop;
  SoundServer& server = services_.server;
  const auto wait = server.beginWait();
  const auto end = runLoop.now() + limit;
  OSStatus status = toggleCardHog(device);
  while (status == kAudioDevicePermissionsError && runLoop.now() < end && !wait.isInterrupted()) {
    if (!server.waitUntil([] { return false; }, retryPause) && !server.isConnected()) runLoop.sleepFor(retryPause);
    if (device.state.hasSink()) switchOff(device);
    status = toggleCardHog(device);
  }
  return status;
}

void CardTaking::giveBack(PipeWireDevice& device) {
  if (const OSStatus status = toggleCardHog(device); status != noErr)
    services_.log.write(LogLevel::error, audioHardwareCategory,
                        fmt::format("{} is not given back: {}", device.name, status));
  letGo(device);
}

void CardTaking::unitTakesCard(PipeWireDevice& device) { device.state.cardTaken(cardNow(device)); }

void CardTaking::letGo(PipeWireDevice& device) {
  if (device.isUnitOnCard() || view_.isOurs(device)) return;
  if (device.state.hasCard()) {
    // While a call into its driver has not returned, the PCM may be open: the card is returned when the owner is known
    // again.
    const auto owner = services_.cardHardware.propertyData(device.cardDevice, hogModeAddress);
    if (!owner && owner.error() == kAudioHardwareNotReadyError) return device.state.driverHangs();
  }
  restoreProfile(device);
  if (!device.state.hasCard()) return;
  // The state from before this process took the card is kept for the next time, and no sink comes until then.
  if (const auto program = view_.hogOwner(device); program && *program != -1) return device.state.takenByAnother();
  const bool isDue = isSinkDue(*device.state.before(), services_.server.facts().hasSessionManager);
  device.state.cardReturned(isDue, services_.runLoop.now());
  if (view_.expectsSink(device)) catalogue_.expectSink(device);
}

/// The driver may have returned; or another program has the card, and there is no unit to release it.
void CardTaking::ownerChanged(PipeWireDevice& device) {
  const DeviceCondition condition = device.state.at(services_.runLoop.now());
  const auto owner = view_.cardOwner(device);
  const bool isLost = condition == DeviceCondition::taken && owner && *owner != DeviceView::ownProcess();
  if (condition == DeviceCondition::returning || isLost) letGo(device);
}

/// Makes the server close the card. The server still knows the card, and uses it again when the profile is restored.
void CardTaking::switchOff(PipeWireDevice& device) {
  SoundServer& server = services_.server;
  const PipeWireSink* sink = view_.sinkOf(device);
  const PipeWireCard* card = sink != nullptr ? cardOf(server.facts(), *sink) : nullptr;
  if (card == nullptr || !card->profile || !card->profileOff) return;
  const std::uint32_t id = *device.state.sink();
  // The sink was left behind when the card was switched off, and has the hardware open: it can only be suspended.
  if (card->isOff()) return server.suspend(id);
  switchedOff_[&device] = {*sink->card, *card->profile, *card};
  if (!server.setProfile(*sink->card, *card->profileOff)) {
    switchedOff_.erase(&device);
    return;
  }
  server.waitUntil([&server, id] { return !server.facts().sinks.contains(id); }, closeLimit);
}

void CardTaking::restoreProfile(const PipeWireDevice& device) {
  const auto before = switchedOff_.extract(&device);
  if (before.empty()) return;
  const Profile& profile = before.mapped();
  // After a reservation, the card is a new object of the server, which already has its old profile.
  const auto& cards = services_.server.facts().cards;
  const auto card = cards.find(profile.card);
  if (card == cards.end() || !card->second.isSameAs(profile.before)) return;
  if (services_.server.setProfile(profile.card, profile.profile)) services_.server.roundTrip(closeLimit);
}

void CardTaking::waitUntilHeard(const PipeWireDevice& device) {
  const auto now = services_.runLoop.now();
  if (device.heardUntil > now) services_.runLoop.sleepFor(std::min(device.heardUntil - now, heardLimit));
}

void CardTaking::waitForSink(const PipeWireDevice& device) {
  RunLoop& runLoop = services_.runLoop;
  SoundServer& server = services_.server;
  const auto wait = server.beginWait();
  const auto end = runLoop.now() + device.state.timeToSink(runLoop.now());
  while (!device.state.hasSink() && runLoop.now() < end && !wait.isInterrupted()) {
    if (!server.isConnected()) {
      runLoop.sleepFor(retryPause);
      server.reconnect();
    }
    server.waitUntil([&device] { return device.state.hasSink(); },
                     std::min<RunLoop::Duration>(100ms, end - runLoop.now()));
  }
}

}  // namespace tolvane
