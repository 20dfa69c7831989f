#include "engine/ExclusiveAccess.h"

#include <vector>

#include "engine/PlayerCore.h"
#include "engine/StreamFormats.h"
#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

constexpr std::chrono::milliseconds exclusiveAccessCheckInterval{500};
constexpr std::chrono::milliseconds exclusiveAccessRetryInterval{1000};

/// What the device reports of its own path. A report that cannot be read, and processing that it does not describe,
/// count as an unknown alteration.
std::vector<SampleAlteration> alterationsOf(const AudioHardware& hardware, AudioObjectID device) {
  constexpr auto kind = SampleAlteration::Kind::unknown;
  constexpr auto listAddress = globalAddress(kAudioDevicePropertySampleAlterations);
  constexpr auto activityAddress = globalAddress(kAudioDevicePropertyProcessingIsActive);
  const auto reported = readProperty<std::vector<SampleAlteration>>(hardware, device, listAddress);
  if (!reported && hardware.hasProperty(device, listAddress))
    return {{kind, "The device cannot report whether it alters samples."}};
  if (reported && !reported->empty()) return *reported;
  if (readProperty<std::uint32_t>(hardware, device, activityAddress).value_or(0) != 0)
    return {{kind, "The device processes samples and does not report how."}};
  return {};
}

}  // namespace

AudioPathFacts ExclusiveAccess::gatherFacts(const HogModeReport& hogReport) const {
  const PreparedAudio& prepared = *core_.preparedAudio;
  const AudioStreamBasicDescription& client = prepared.context->format();
  const DeviceProperties& device = core_.device;
  const AudioObjectID deviceID = core_.deviceID;
  AudioPathFacts facts;
  facts.isBluetooth =
      isBluetoothTransport(device.readDeviceUInt32(deviceID, kAudioDevicePropertyTransportType).value_or(0));
  const SampleRateReport rates = device.readSampleRates(client.mSampleRate, deviceID);
  facts.sourceRate = rates.requestedRate;
  facts.nominalRate = rates.nominalRate;
  facts.actualRate = rates.actualRate;
  const auto accepted = readProperty<AudioStreamBasicDescription>(*core_.audioUnit, AudioUnitProperty::streamFormat,
                                                                  AudioUnitScope::input);
  facts.clientFormatMatches = accepted && formatsMatch(client, *accepted);
  facts.isLossless = prepared.isLossless;
  facts.sourceLabel = prepared.sourceLabel;
  facts.physicalFormat = device.readOutputPhysicalFormat(deviceID);
  facts.physicalFormatCompatible = facts.physicalFormat && physicalFormatCompatibility(prepared, *facts.physicalFormat);
  facts.alterations = alterationsOf(core_.hardware, deviceID);
  facts.exclusiveAccessEnabled = core_.isExclusiveAccessEnabled;
  facts.hogModeSupported = hogReport.isSupported;
  facts.hogModeOwned = hogReport.isOwnedByCurrentProcess;
  return facts;
}

void ExclusiveAccess::refreshAudioPathStatus(const HogModeReport& hogReport) {
  if (!core_.preparedAudio || !core_.audioUnit || core_.deviceID == kAudioObjectUnknown) return;
  const AudioPathFacts facts = gatherFacts(hogReport);
  core_.audioPathStatus.assign(judgeAudioPath(facts).applyingOutputLevels(core_.outputLevels, facts.isBluetooth));
}

void ExclusiveAccess::applyHogModeReport(const HogModeReport& report, bool refreshAudioPath) {
  core_.ownsHogMode = report.mayBeOwned();
  const ExclusiveAccessStatus before = core_.exclusiveAccessStatus.value();
  updateExclusiveAccessStatus(core_.isExclusiveAccessEnabled ? ExclusiveAccessStatus::verified(report)
                                                             : ExclusiveAccessStatus::off());
  if (refreshAudioPath && core_.exclusiveAccessStatus.value() != before) refreshAudioPathStatus(report);
}

void ExclusiveAccess::updateExclusiveAccessStatus(ExclusiveAccessStatus status) {
  if (status == core_.exclusiveAccessStatus.value()) return;
  const auto kind = status.kind;
  core_.exclusiveAccessStatus.assign(std::move(status));
  core_.audioLogger.standard("Exclusive Access state changed to {}", kindName(kind));
}

std::optional<double> ExclusiveAccess::setExclusiveAccessEnabled(bool enabled) {
  const bool changed = core_.isExclusiveAccessEnabled != enabled;
  core_.isExclusiveAccessEnabled = enabled;
  const bool isLoaded = core_.preparedAudio && core_.isPlayingOrPaused();
  if (!enabled) updateExclusiveAccessStatus(ExclusiveAccessStatus::off());
  // What was kept open for the next track is opened anew for it.
  if (changed && core_.transition.isParked()) core_.configuration.tearDown({});
  if (enabled && !isLoaded) updateExclusiveAccessStatus(ExclusiveAccessStatus::requested());
  if (!changed || !isLoaded) return std::nullopt;
  // Between two attempts at a recovery: the next one finds out what it is to do.
  if (!core_.audioUnit && core_.supervision.isRecoveryPending()) {
    if (enabled) updateExclusiveAccessStatus(ExclusiveAccessStatus::requested());
    return std::nullopt;
  }
  return reconfigureInPlace(enabled);
}

std::optional<double> ExclusiveAccess::reconfigureInPlace(bool enabled) {
  core_.completion.cancel();
  const bool wasPlaying = core_.state == PlaybackState::playing;
  if (wasPlaying && core_.audioUnit && core_.configuration.stopUnit() != noErr) {
    core_.configuration.failRuntime("The output device could not change exclusive access safely.", false);
    return std::nullopt;
  }
  if (core_.transition.hasCrossed()) core_.transition.announce();
  if (!core_.preparedAudio || !core_.isPlayingOrPaused()) return std::nullopt;
  core_.completion.cancel();
  const PreparedAudio prepared = *core_.preparedAudio;
  const std::int64_t frame = prepared.context->currentFrame();
  core_.configuration.tearDown({.unitAlreadyStopped = true, .discardPrepared = false});
  prepared.context->seek(frame);
  core_.audioPathStatus.assign(AudioPathStatus::configuring());
  if (enabled) updateExclusiveAccessStatus(ExclusiveAccessStatus::checking());
  if (const auto configured = core_.configuration.configureOutput(prepared, wasPlaying); !configured) {
    core_.configuration.failRuntime(configured.error().errorDescription(), false);
    return std::nullopt;
  }
  return static_cast<double>(frame) / prepared.context->format().mSampleRate;
}

void ExclusiveAccess::verifyExclusiveAccess(bool recoverIfAvailable) {
  if (!core_.isExclusiveAccessEnabled) {
    core_.ownsHogMode = false;
    return updateExclusiveAccessStatus(ExclusiveAccessStatus::off());
  }
  if (core_.deviceID == kAudioObjectUnknown || !core_.preparedAudio || !core_.isPlayingOrPaused()) {
    core_.ownsHogMode = false;
    return updateExclusiveAccessStatus(ExclusiveAccessStatus::requested());
  }
  HogModeReport report = core_.device.readHogMode(core_.deviceID);
  const auto now = core_.runLoop.now();
  if (recoverIfAvailable && report.isFree() && now >= nextExclusiveAccessRecoveryAttempt_) {
    nextExclusiveAccessRecoveryAttempt_ = now + exclusiveAccessRetryInterval;
    const HogModeReport acquired = core_.device.acquireHogMode(core_.deviceID);
    if (acquired.isOwnedByCurrentProcess) {
      nextExclusiveAccessRecoveryAttempt_ = RunLoop::TimePoint::min();
      core_.audioLogger.standard("Exclusive Access was restored on device {}", core_.deviceID);
      report = acquired;
    }
  }
  applyHogModeReport(report, true);
}

void ExclusiveAccess::startExclusiveAccessMonitorIfNeeded() {
  stopExclusiveAccessMonitor();
  if (!core_.isExclusiveAccessEnabled || core_.deviceID == kAudioObjectUnknown || !core_.preparedAudio) return;
  exclusiveAccessTimer_ =
      core_.runLoop.scheduleTimer(exclusiveAccessCheckInterval, true, [this] { verifyExclusiveAccess(true); });
}

void ExclusiveAccess::stopExclusiveAccessMonitor() {
  exclusiveAccessTimer_.reset();
  nextExclusiveAccessRecoveryAttempt_ = RunLoop::TimePoint::min();
}

}  // namespace tolvane
