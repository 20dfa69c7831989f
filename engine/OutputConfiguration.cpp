#include "engine/OutputConfiguration.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "engine/PlayerCore.h"
#include "platform/PropertyReading.h"

namespace tolvane {

bool isBluetoothTransport(std::uint32_t transportType) {
  return transportType == kAudioDeviceTransportTypeBluetooth || transportType == kAudioDeviceTransportTypeBluetoothLE;
}

Result<void> OutputConfiguration::configureOutput(const PreparedAudio& prepared, bool startPlayback,
                                                  std::optional<double> originalRate) {
  const double sourceRate = prepared.context->format().mSampleRate;

  const auto resolved = core_.device.resolveOutputDevice(core_.preferredDeviceID);
  if (!resolved) return std::unexpected(resolved.error());
  const AudioObjectID deviceID = core_.deviceID = *resolved;
  core_.exclusiveAccess.updateExclusiveAccessStatus(core_.isExclusiveAccessEnabled ? ExclusiveAccessStatus::checking()
                                                                                   : ExclusiveAccessStatus::off());

  const auto transport = core_.device.readDeviceUInt32(deviceID, kAudioDevicePropertyTransportType).value_or(0);
  const bool isBluetooth = isBluetoothTransport(transport);
  if (!isBluetooth) {  // the rate of a Bluetooth link is its own affair
    const auto onItsWayBack = core_.device.waitForRestoredRate(deviceID);
    if (!originalRate) originalRate = onItsWayBack;
    core_.originalDeviceSampleRate =
        originalRate ? originalRate
                     : core_.device.readDeviceSampleRate(deviceID, kAudioDevicePropertyNominalSampleRate);
  }

  const HogModeReport hogReport =
      core_.isExclusiveAccessEnabled ? core_.device.acquireHogMode(deviceID) : core_.device.readHogMode(deviceID);
  core_.ownsHogMode = hogReport.mayBeOwned();
  const SampleRateReport rateReport = isBluetooth ? core_.device.readSampleRates(sourceRate, deviceID)
                                                  : core_.device.configureSampleRate(sourceRate, deviceID);

  auto unit = createOutputUnit(deviceID, prepared, isBluetooth);
  if (!unit) return std::unexpected(unit.error());
  core_.audioUnit = std::move(*unit);
  hasEverRun_ = false;
  core_.transition.outputWasConfigured(prepared);
  if (auto result = bringUp(prepared, hogReport, startPlayback); !result) return result;
  core_.audioLogger.standard("Configured output device {}, transport {}, source {:f} Hz, device {:f} Hz", deviceID,
                             transport, sourceRate,
                             rateReport.actualRate > 0 ? rateReport.actualRate : rateReport.nominalRate);
  return {};
}

Result<void> OutputConfiguration::continueOutput(const PreparedAudio& prepared, bool startPlayback) {
  if (isStarted_)
    if (const OSStatus status = stopUnit(); status != noErr) return failure("Starting the output device", status);
  if (auto result = bringUp(prepared, core_.device.readHogMode(core_.deviceID), startPlayback); !result) return result;
  core_.transition.hasContinued();
  core_.audioLogger.standard("Went on with output device {}, source {:f} Hz", core_.deviceID,
                             prepared.context->format().mSampleRate);
  return {};
}

Result<void> OutputConfiguration::bringUp(const PreparedAudio& prepared, const HogModeReport& hogReport,
                                          bool startPlayback) {
  constexpr std::uint32_t unknownBufferFrames = 512;
  const auto& context = prepared.context;
  const AudioObjectID deviceID = core_.deviceID;
  const double sourceRate = context->format().mSampleRate;
  core_.renderContext = context;
  core_.sequence.load(context);
  core_.duration.assign(static_cast<double>(context->totalFrames()) / sourceRate);
  core_.sampleRate.assign(sourceRate);
  core_.outputBufferFrameSize =
      core_.device.readDeviceUInt32(deviceID, kAudioDevicePropertyBufferFrameSize).value_or(unknownBufferFrames);

  if (startPlayback)
    if (const OSStatus status = startUnit(); status != noErr) return failure("Starting the output device", status);

  core_.exclusiveAccess.applyHogModeReport(hogReport, false);
  core_.exclusiveAccess.refreshAudioPathStatus(hogReport);
  core_.supervision.installOutputPropertyObservers(deviceID);
  core_.exclusiveAccess.startExclusiveAccessMonitorIfNeeded();
  if (startPlayback) {
    core_.setPlaybackState(PlaybackState::playing);
    core_.completion.scheduleCompletionTimer(context->totalFrames() - context->currentFrame());
    core_.supervision.startOutputHealthMonitor();
    core_.transition.prepareAndCouple();
  }
  return {};
}

Result<std::unique_ptr<AudioOutputUnit>> OutputConfiguration::createOutputUnit(AudioObjectID deviceID,
                                                                               const PreparedAudio& prepared,
                                                                               bool prefersHighQualityConversion) {
  AudioOutputComponent* component = core_.hardware.outputComponent();
  if (component == nullptr) return failure("The Core Audio output component is unavailable.");
  auto created = component->newInstance();
  if (!created) return failure("Creating the Core Audio output", created.error());
  std::unique_ptr<AudioOutputUnit> unit = std::move(*created);
  if (!unit) return failure("The Core Audio output could not be created.");

  using Property = AudioUnitProperty;
  using Scope = AudioUnitScope;
  const auto abandon = [&unit](std::string_view stage, OSStatus status) {
    unit->uninitialize();
    unit.reset();
    return failure(stage, status);
  };
  struct Step {
    std::string_view stage;
    Property property;
    Scope scope;
    std::uint32_t element;
    AudioUnitPropertyValue value;
  };
  constexpr std::uint32_t on = 1;
  constexpr std::uint32_t off = 0;
  const Step binding[] = {
      {"Binding the output device", Property::currentDevice, Scope::global, 0, deviceID},
      {"Enabling audio output", Property::enableIO, Scope::output, 0, on},
      {"Disabling unused audio input", Property::enableIO, Scope::input, 1, off},
      {"Setting the source PCM format", Property::streamFormat, Scope::input, 0, prepared.context->format()},
  };
  for (const Step& step : binding)
    if (const OSStatus status = unit->setProperty(step.property, step.scope, step.element, step.value); status != noErr)
      return abandon(step.stage, status);

  // A unit expects the usual channels by itself.
  if (const ChannelLayout& channels = prepared.channels;
      !channels.positions.empty() && channels != usualLayout(prepared.context->format().mChannelsPerFrame)) {
    const OSStatus status = unit->setProperty(Property::channelLayout, Scope::input, 0, channels);
    if (status != noErr) return abandon("Setting the source PCM format", status);
  }
  // Hints: a unit without these properties plays all the same.
  if (!prepared.sourceIsFloat) (void)unit->setProperty(Property::sourceBits, Scope::input, 0, prepared.sourceBitDepth);
  if (prefersHighQualityConversion)
    (void)unit->setProperty(Property::renderQuality, Scope::global, 0, kRenderQuality_Max);

  if (const OSStatus status =
          unit->setProperty(Property::setRenderCallback, Scope::input, 0, core_.sequence.callback());
      status != noErr)
    return abandon("Installing the real-time renderer", status);
  if (const OSStatus status = unit->initialize(); status != noErr)
    return abandon("Initializing the output device", status);
  return unit;
}

void OutputConfiguration::tearDown(const TearDownOptions& options) {
  core_.exclusiveAccess.stopExclusiveAccessMonitor();
  core_.supervision.removeOutputPropertyObservers();
  core_.supervision.stopOutputHealthMonitor();
  core_.completion.cancel();
  if (options.cancelPendingRecovery) core_.supervision.cancelPendingRecovery();

  if (core_.audioUnit) {
    if (!options.unitAlreadyStopped) stopUnit();
    core_.statistics.underruns += core_.audioUnit->underrunCount();
    core_.audioUnit->uninitialize();
    core_.audioUnit.reset();
  }
  core_.sequence.clear();
  core_.renderContext.reset();
  core_.transition.reset();
  if (options.discardPrepared) core_.discardPreparedAudio();

  const bool isBound = core_.deviceID != kAudioObjectUnknown;
  if (options.restoreSampleRate && isBound && core_.originalDeviceSampleRate.value_or(0) > 0)
    core_.device.restoreNominalSampleRate(*core_.originalDeviceSampleRate, core_.deviceID);
  if (core_.ownsHogMode && isBound) core_.device.releaseHogMode(core_.deviceID);
  core_.ownsHogMode = false;
  core_.exclusiveAccess.updateExclusiveAccessStatus(core_.isExclusiveAccessEnabled ? ExclusiveAccessStatus::requested()
                                                                                   : ExclusiveAccessStatus::off());
  core_.originalDeviceSampleRate.reset();
  core_.deviceID = kAudioObjectUnknown;
}

void OutputConfiguration::failRuntime(std::string message, bool unitAlreadyStopped) {
  tearDown({.unitAlreadyStopped = unitAlreadyStopped});
  core_.upcoming.want(std::nullopt);
  core_.forgetTrack();
  core_.audioPathStatus.assign(AudioPathStatus::failed(std::move(message)));
  core_.setPlaybackState(PlaybackState::stopped);
}

OSStatus OutputConfiguration::startUnit() {
  // A unit that stopped by itself begins a new run: what was not heard of the last one comes first.
  if (unitHasStopped()) (void)stopUnit();
  if (isStarted_) return core_.audioUnit->start();
  // More than a ring and what is played until OutputSupervision looks further ahead.
  constexpr double firstSeconds = 1.5;
  if (core_.renderContext) core_.renderContext->bringIntoMemory(firstSeconds);
  core_.sequence.beginRun();
  core_.transition.coupleAgain();
  runBegan_ = hasEverRun_ ? sampleTime() : 0.0;
  const OSStatus status = core_.audioUnit->start();
  isStarted_ = status == noErr;
  hasEverRun_ = hasEverRun_ || isStarted_;
  return status;
}

bool OutputConfiguration::unitIsRunning() const {
  return readProperty<std::uint32_t>(*core_.audioUnit, AudioUnitProperty::isRunning).value_or(0) != 0;
}

std::optional<double> OutputConfiguration::sampleTime() const {
  const auto time = readProperty<double>(*core_.audioUnit, AudioUnitProperty::lastRenderSampleTime);
  return time && std::isfinite(*time) ? time : std::nullopt;
}

std::optional<std::int64_t> OutputConfiguration::framesHeard() const {
  if (!core_.audioUnit || !isStarted_ || !runBegan_) return std::nullopt;
  const auto time = sampleTime();
  return time ? std::optional(static_cast<std::int64_t>(std::max(*time - *runBegan_, 0.0))) : std::nullopt;
}

OSStatus OutputConfiguration::stopUnit() {
  const OSStatus status = core_.audioUnit->stop();
  if (!std::exchange(isStarted_, false)) return status;
  core_.transition.runHasEnded(core_.sequence.endRun(core_.audioUnit->framesPlayed()));
  return status;
}

bool OutputConfiguration::restartUnit(std::string_view failureMessage) {
  if (startUnit() != noErr) {
    failRuntime(std::string(failureMessage), false);
    return false;
  }
  core_.setPlaybackState(PlaybackState::playing);
  core_.completion.scheduleCompletionTimer(core_.renderContext->totalFrames() - core_.renderContext->currentFrame());
  core_.transition.prepareAndCouple();
  return true;
}

}  // namespace tolvane
