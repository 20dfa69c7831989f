// What happens to the hardware in a world of the campaign: the other half of CampaignActions.
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "tests/engine/campaign/CampaignActions.h"

namespace tolvane {
namespace {

using namespace std::chrono_literals;

constexpr OSStatus refusal = -66;

}  // namespace

// What happens to a device.

void CampaignActions::changeRateFromOutside() {
  const AudioObjectID id = likelyDevice();
  if (!world_.device(id).isPresent()) return;
  const double rate = world_.drawRate();
  note(fmt::format("device {}: rate from outside {} Hz", id, rate));
  world_.ledgers[id].alsoAcceptable.push_back(rate);
  // What the device would refuse cannot be put back.
  const auto& rates = world_.device(id).config().rates;
  if (std::ranges::find(rates, AudioValueRange{rate, rate}) == rates.end())
    world_.ledgers[id].anyRateIsAcceptable = true;
  world_.device(id).setNominalRateFromOutside(rate);
  world_.trouble();
}

void CampaignActions::stealDevice() {
  const AudioObjectID id = likelyDevice();
  if (!world_.device(id).isPresent()) return;
  note(fmt::format("device {}: taken by another process", id));
  if (world_.isActive() || world_.isPreparing()) world_.ledgers[id].anyRateIsAcceptable = true;
  world_.device(id).setHogOwner(CampaignWorld::otherProcess);
}

void CampaignActions::releaseDevice() {
  for (const AudioObjectID id : world_.devices) {
    if (world_.device(id).config().hogOwner != CampaignWorld::otherProcess) continue;
    note(fmt::format("device {}: released by the other process", id));
    world_.device(id).setHogOwner(-1);
  }
}

void CampaignActions::unplug() {
  const AudioObjectID id = likelyDevice();
  note(fmt::format("device {}: unplugged", id));
  world_.ledgers[id].anyRateIsAcceptable = true;
  world_.hardware.removeDevice(id);
  world_.trouble();
  world_.later(between(0.05, 30), [this, id] {
    note(fmt::format("device {}: plugged in again", id));
    world_.trouble();
    world_.hardware.replug(id);
  });
}

void CampaignActions::replug() {
  note("all devices are plugged in");
  for (const AudioObjectID id : world_.devices) world_.hardware.replug(id);
}

void CampaignActions::changeDefault() {
  const AudioObjectID id = anyDevice();
  const AudioObjectID chosen = world_.device(id).isPresent() && !world_.random.percent(10) ? id : kAudioObjectUnknown;
  note(fmt::format("default device {}", chosen));
  world_.hardware.setDefaultDevice(chosen);
}

void CampaignActions::changePhysicalFormat() {
  const AudioObjectID id = likelyDevice();
  auto& device = world_.device(id);
  if (!device.isPresent()) return;
  std::optional<AudioStreamBasicDescription> format;
  if (world_.random.percent(60)) format = physicalInteger(16, world_.isCloseUp ? 2 : 1);
  note(fmt::format("device {}: physical format {}", id, format ? "pinned to 16 bits" : "free"));
  device.setPhysicalFormat(world_.random.below(device.streamIDs().size()), format);
  world_.trouble();
}

void CampaignActions::toggleStream() {
  const AudioObjectID id = likelyDevice();
  auto& device = world_.device(id);
  if (!device.isPresent()) return;
  note(fmt::format("device {}: a stream becomes active or inactive", id));
  const std::size_t stream = world_.random.below(device.streamIDs().size());
  device.setStreamActive(stream, !device.config().streams[stream].isActive);
  world_.trouble();
}

void CampaignActions::replaceStreams() {
  const AudioObjectID id = likelyDevice();
  if (!world_.device(id).isPresent()) return;
  note(fmt::format("device {}: new streams", id));
  world_.device(id).changeStreams(world_.drawStreams());
  world_.trouble();
}

void CampaignActions::resizeBuffer() {
  const AudioObjectID id = likelyDevice();
  const std::uint32_t frames = world_.random.pick(std::array{128U, 512U, 1000U});
  note(fmt::format("device {}: buffer of {} frames", id, frames));
  world_.device(id).setBufferFrameSize(frames);
  world_.trouble();
}

void CampaignActions::announceWithoutReason() {
  const AudioObjectID id = likelyDevice();
  const FourCharCode selector =
      world_.random.pick(std::array{kAudioDevicePropertyNominalSampleRate, kAudioDevicePropertyActualSampleRate,
                                    kAudioDevicePropertyHogMode, kAudioDevicePropertyDeviceIsAlive});
  const int times = 1 + static_cast<int>(world_.random.below(4));
  note(fmt::format("device {}: announces {} times what did not change", id, times));
  for (int i = 0; i < times; ++i) world_.device(id).notifyAbout(selector);
  world_.trouble();
}

/// A volume behind the unit is changed: playback continues, but the samples are no longer those of the unit.
void CampaignActions::toggleProcessing() {
  const AudioObjectID id = likelyDevice();
  const auto& device = world_.device(id);
  if (!device.isPresent() || !device.config().alterations) return;
  const bool begins = device.config().alterations->empty();
  setAlterations(id, begins ? world_.drawAlterations() : std::vector<SampleAlteration>{});
  if (!begins) return;
  world_.later(between(0.5, 60), [this, id] {
    if (world_.device(id).config().alterations) setAlterations(id, {});
  });
}

void CampaignActions::setAlterations(AudioObjectID id, const std::vector<SampleAlteration>& alterations) {
  note(fmt::format("device {}: {} alterations behind the unit", id, alterations.size()));
  if (world_.device(id).config().alterations == alterations) return;
  world_.device(id).setAlterations(alterations);
  invariants_.processingChanged(id);
}

void CampaignActions::refuseRates() {
  const AudioObjectID id = likelyDevice();
  auto& settable = world_.device(id).script().rateIsSettable;
  settable = !settable;
  note(fmt::format("device {}: the rate {} be set", id, settable ? "can" : "cannot"));
  world_.ledgers[id].anyRateIsAcceptable = true;
}

void CampaignActions::changeSettling() {
  const AudioObjectID id = likelyDevice();
  note(fmt::format("device {}: settles at another pace", id));
  world_.device(id).script().rateSettleDelay = world_.random.pick(std::array{0ms, 20ms, 190ms, 420ms});
}

void CampaignActions::changeClock() {
  const AudioObjectID id = likelyDevice();
  if (!world_.device(id).isPresent()) return;
  const double ppm = world_.random.pick(std::array{0.0, 12.0, -60.0, 400.0});
  note(fmt::format("device {}: clock off by {} ppm", id, ppm));
  world_.device(id).setClockErrorPPM(ppm);
  world_.trouble();
}

void CampaignActions::failProperty() {
  using Faults = std::map<FourCharCode, PropertyFault> PropertyScript::*;
  const AudioObjectID id = likelyDevice();
  const FourCharCode selector = world_.random.pick(std::array{
      kAudioDevicePropertyNominalSampleRate, kAudioDevicePropertyActualSampleRate, kAudioDevicePropertyHogMode,
      kAudioDevicePropertyStreams, kAudioDevicePropertyBufferFrameSize, kAudioDevicePropertyDeviceIsAlive});
  const Faults kind = world_.random.pick(std::array<Faults, 5>{
      &PropertyScript::sizeFailures, &PropertyScript::readFailures, &PropertyScript::writeFailures,
      &PropertyScript::settableFailures, &PropertyScript::listenerFailures});
  const int times = world_.random.percent(50) ? UnitFaults::kAlways : 1 + static_cast<int>(world_.random.below(3));
  note(fmt::format("device {}: property {} fails for a while", id, selector));
  (world_.device(id).script().properties.*kind)[selector] = {refusal, times};
  DeviceLedger& ledger = world_.ledgers[id];
  ++ledger.activeFaults;
  ledger.hasLied = ledger.anyRateIsAcceptable = true;
  world_.later(between(0.1, 20), [this, id, kind, selector] {
    --world_.ledgers[id].activeFaults;
    (world_.device(id).script().properties.*kind).erase(selector);
    world_.trouble();
  });
}

void CampaignActions::failSystemProperty() {
  note("the default device cannot be read for a while");
  world_.hardware.systemProperties().readFailures[kAudioHardwarePropertyDefaultOutputDevice] = {refusal};
  world_.later(between(0.1, 10), [this] { world_.hardware.systemProperties().readFailures.clear(); });
}

// What happens to the unit that plays.

void CampaignActions::stall() {
  const AudioObjectID id = likelyDevice();
  const auto duration = between(0.05, 30);
  note(fmt::format("device {}: stalls for {:.3f} s", id, secondsFromDuration(duration)));
  world_.device(id).stall();
  world_.trouble();
  world_.later(duration, [this, id] {
    note(fmt::format("device {}: goes on", id));
    world_.trouble();
    world_.device(id).goOn();
  });
}

void CampaignActions::stopByItself() {
  const AudioObjectID id = likelyDevice();
  note(fmt::format("device {}: stops by itself", id));
  world_.device(id).stopByItself(world_.random.percent(50) ? refusal : noErr);
  world_.trouble();
  if (!world_.watched.hasDied()) return;
  constexpr auto longestUnnoticed = 1400ms;  // two checks, half a second apart, or a recovery pending meanwhile
  world_.later(longestUnnoticed, [this, start = world_.watched.startCount(), held = world_.heldTime] {
    const auto& watched = world_.watched;
    if (world_.heldTime == held && !world_.isHeldUp && world_.isPlaying() && watched.hasDied() &&
        watched.startCount() == start && world_.unitsHideStops == 0)
      world_.fail("a unit that stopped by itself goes unnoticed");
  });
}

void CampaignActions::raiseRenderError() {
  const AudioObjectID id = likelyDevice();
  note(fmt::format("device {}: render error", id));
  world_.device(id).raiseRenderError(-1 - static_cast<OSStatus>(world_.random.below(20000)));
  world_.trouble();
}

void CampaignActions::runDry() {
  const AudioObjectID id = likelyDevice();
  const auto silence = between(0.001, 3);
  note(fmt::format("device {}: runs dry for {:.3f} s", id, secondsFromDuration(silence)));
  world_.device(id).underrun(silence);
  world_.trouble();
}

void CampaignActions::failStage() {
  const auto stage = static_cast<UnitStage>(world_.random.below(kUnitStageCount));
  const bool hidesTime = stage == UnitStage::sampleTime;
  const auto mayHide = [this](AudioObjectID id) { return mayHideSampleTime(id); };
  if (hidesTime && !std::ranges::all_of(world_.devices, mayHide)) return;
  const bool always = world_.random.percent(30) || stage == UnitStage::isRunning || hidesTime;
  const int times = always ? UnitFaults::kAlways : 1 + static_cast<int>(world_.random.below(3));
  note(fmt::format("unit: stage {} fails {}", static_cast<int>(stage), always ? "for a while" : "a few times"));
  world_.hardware.failNext(stage, refusal, times);
  world_.trouble();
  if (!always) return;
  if (stage == UnitStage::isRunning) ++world_.unitsHideStops;
  if (hidesTime) ++world_.unitsHideTime;
  world_.later(between(0.1, 8), [this, stage] {
    world_.hardware.unitFaults().heal(stage);
    // A reading that failed began the count of stopped readings anew.
    if (stage == UnitStage::isRunning) world_.later(2s, [this] { --world_.unitsHideStops; });
    if (stage == UnitStage::sampleTime) --world_.unitsHideTime;
    world_.trouble();
  });
}

/// What a deep ring still holds is unknown without the time: where every frame is looked at, the player cannot find the
/// moment of a crossing.
bool CampaignActions::mayHideSampleTime(AudioObjectID id) {
  return !world_.isCloseUp || world_.device(id).config().ringPeriods <= 2;
}

void CampaignActions::hideSampleTime() {
  if (!world_.isCloseUp) return;  // where a buffer lasts a second, counting callbacks instead sees stalls
  const AudioObjectID id = likelyDevice();
  const bool isReadable = world_.random.percent(50);
  if (!mayHideSampleTime(id)) return;
  note(fmt::format("device {}: the sample time {} be read", id, isReadable ? "can" : "cannot"));
  world_.device(id).setSampleTimeReadable(isReadable);
}

void CampaignActions::reportAnotherFormat() {
  note("units report another client format for a while");
  world_.unitsReport = float32PCM(world_.drawRate(), 2);
  world_.hardware.setReportedClientFormat(world_.unitsReport);
  world_.later(between(0.1, 30), [this] {
    world_.hardware.setReportedClientFormat(std::nullopt);
    world_.unitsReport.reset();
  });
}

void CampaignActions::loseComponent() {
  const bool makesNull = world_.random.percent(50);
  note(makesNull ? "no units come for a while" : "the output component is gone for a while");
  world_.hardware.setHasOutputComponent(makesNull);
  world_.hardware.setMakesNullInstances(makesNull);
  world_.trouble();
  world_.later(between(0.1, 8), [this] {
    world_.hardware.setHasOutputComponent(true);
    world_.hardware.setMakesNullInstances(false);
    world_.trouble();
  });
}

void CampaignActions::deliverLate() {
  const bool comesLate = world_.random.percent(50);
  note(comesLate ? "notifications may come late" : "notifications come in time");
  world_.hardware.setDeliversLateNotifications(comesLate);
}

}  // namespace tolvane
