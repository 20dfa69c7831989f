// Taking a card from the server, and giving it back. The card's profile is switched off first: a server whose card is
// only taken gives its sink another name afterwards, and the user's choice of a default sink is lost.

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "platform/PropertyReading.h"
#include "platform/pipewire/PipeWireAudioHardware.h"

namespace tolvane {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr RunLoop::Duration setUpLimit = 1s;  // for the session manager to set a sink up
constexpr RunLoop::Duration closeLimit = 1s;  // for the server to close the card
constexpr RunLoop::Duration heardLimit = 1s;  // for what the card still plays
constexpr RunLoop::Duration retryPause = 20ms;

}  // namespace

OSStatus PipeWireAudioHardware::toggleDirectHog(const Device& device) {
  constexpr std::int32_t anyPID = -1;  // the write toggles, whatever its value
  return direct_.setPropertyData(device.direct, hogModeAddress, anyPID);
}

OSStatus PipeWireAudioHardware::toggleHog(Device& device) {
  if (isOurs(device)) {
    giveBack(device);
    publish(device);
    return noErr;
  }
  const auto owner = hogOwner(device);
  if (!owner) return owner.error();
  if (*owner != -1) return kAudioDevicePermissionsError;
  const auto wait = server_->beginWait();
  const OSStatus status = takeDirectly(device);
  publish(device);
  return status;
}

/// A unit that plays through the sink moves along, and plays on.
OSStatus PipeWireAudioHardware::takeDirectly(Device& device) {
  PipeWireOutputUnit* moving = device.unit != nullptr && device.unit->stream() != nullptr ? device.unit : nullptr;
  if (moving != nullptr && !device.retakePause.isOver(runLoop_.now())) return kAudioDevicePermissionsError;
  if (expectsSink(device)) waitForSink(device);
  // A session manager whose new sink goes before it has set it up leaves it behind, and the card open with it.
  if (device.sink)
    server_->waitUntil([&] { return !device.sink || isSetUp(server_->facts(), *device.sink); }, setUpLimit);
  std::set<std::uint32_t> others;
  // The sink may have failed in these waits, and the stream with it.
  if (const SoundServerStream* own = moving != nullptr ? moving->stream() : nullptr; own != nullptr && device.sink)
    others = othersOn(server_->facts(), *device.sink, own->facts().node);
  if (moving != nullptr) device.heardUntil = runLoop_.now() + moving->leaveSink();
  waitUntilHeard(device);
  const CardBefore before{device.sink.has_value(), server_->facts().hasSessionManager};
  switchCardOff(device);
  const OSStatus status = toggleDirectHogWithin(before.hadSink ? closeLimit : RunLoop::Duration::zero(), device);
  if (status == noErr) {
    // What a unit that has the card already had found is older.
    if (!device.cardBefore) device.cardBefore = before;
    device.retakePause.reset();
    device.sinkExpectation.end();  // it comes when the card is given back, and not before
  } else {
    restoreProfile(device);
    if (before.hadSink && !device.sink) expectSink(device);
    if (moving != nullptr) {
      device.retakePause.attemptFailed(runLoop_.now());
      device.retakeObstacles.attemptFailed(std::move(others));
    }
  }
  if (moving != nullptr) moving->goOn();
  return status;
}

/// The server may take a moment to let go; and a session manager that was just about to choose a profile for a card
/// that has come back to it chooses one, whatever it was asked for.
OSStatus PipeWireAudioHardware::toggleDirectHogWithin(RunLoop::Duration limit, Device& device) {
  const auto wait = server_->beginWait();
  const auto end = runLoop_.now() + limit;
  OSStatus status = toggleDirectHog(device);
  while (status == kAudioDevicePermissionsError && runLoop_.now() < end && !wait.isInterrupted()) {
    if (!server_->waitUntil([] { return false; }, retryPause) && !server_->isConnected()) runLoop_.sleepFor(retryPause);
    if (device.sink) switchCardOff(device);
    status = toggleDirectHog(device);
  }
  return status;
}

void PipeWireAudioHardware::giveBack(Device& device) {
  if (const OSStatus status = toggleDirectHog(device); status != noErr)
    log_.write(LogLevel::error, audioHardwareCategory, fmt::format("{} is not given back: {}", device.name, status));
  letGoOfCard(device);
}

/// Gives the card back to the server when neither a unit nor hog mode has it any more: one that is set up while its PCM
/// is still open fails, and its sink with it.
void PipeWireAudioHardware::letGoOfCard(Device& device) {
  const bool isInUse = device.unit != nullptr && device.unit->isDirect();
  if (isInUse || isOurs(device)) return;
  // While a call into its driver is left behind, the PCM may be open: it is given back when the owner is known again.
  const auto owner = direct_.propertyData(device.direct, hogModeAddress);
  device.isGiveBackDue = !owner && owner.error() == kAudioHardwareNotReadyError;
  if (device.isGiveBackDue) return;
  restoreProfile(device);
  // Another program has taken it away: what it was before holds for the next time, and no sink comes until then.
  if (const auto program = hogOwner(device); program && *program != -1) return;
  const auto before = std::exchange(device.cardBefore, std::nullopt);
  if (before && device.isListed && !device.sink && isSinkDue(*before, server_->facts().hasSessionManager))
    expectSink(device);
}

/// Has the server let go of the card. It keeps it in mind, and plays on it again when the profile is set back.
void PipeWireAudioHardware::switchCardOff(Device& device) {
  const PipeWireSink* sink = sinkOf(device);
  const PipeWireCard* card = sink != nullptr ? cardOf(server_->facts(), *sink) : nullptr;
  if (card == nullptr || !card->profile || !card->profileOff) return;
  // The sink was left behind when the card was switched off, and has the hardware open: it can only be made to close
  // it.
  if (card->isOff()) return server_->suspend(*device.sink);
  device.switchedOff = {*sink->card, *card->profile, *card};
  if (!server_->setProfile(*sink->card, *card->profileOff)) return device.switchedOff.reset();
  const auto id = *device.sink;
  server_->waitUntil([this, id] { return !server_->facts().sinks.contains(id); }, closeLimit);
}

void PipeWireAudioHardware::restoreProfile(Device& device) {
  const auto before = std::exchange(device.switchedOff, std::nullopt);
  if (!before) return;
  // A card that was reserved is a new object for the server, which has its old profile already.
  const auto card = server_->facts().cards.find(before->card);
  if (card == server_->facts().cards.end() || !card->second.isSameAs(before->before)) return;
  if (server_->setProfile(before->card, before->profile)) server_->roundTrip(closeLimit);
}

/// What the card still plays of an earlier unit would be cut off with it, or with a change of its rate.
void PipeWireAudioHardware::waitUntilHeard(const Device& device) {
  const auto now = runLoop_.now();
  if (device.heardUntil > now) runLoop_.sleepFor(std::min(device.heardUntil - now, heardLimit));
}

/// Returns when the device has a sink, or none is expected any more.
void PipeWireAudioHardware::waitForSink(const Device& device) {
  const auto wait = server_->beginWait();
  const auto end = runLoop_.now() + device.sinkExpectation.left(runLoop_.now());
  while (!device.sink && runLoop_.now() < end && !wait.isInterrupted()) {
    if (!server_->isConnected()) {
      runLoop_.sleepFor(retryPause);
      server_->reconnect();
    }
    server_->waitUntil([&device] { return device.sink.has_value(); },
                       std::min<RunLoop::Duration>(100ms, end - runLoop_.now()));
  }
}

}  // namespace tolvane
