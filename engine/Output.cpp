#include "engine/Output.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "engine/OutputUnitCreation.h"
#include "engine/StreamFormats.h"
#include "platform/PropertyReading.h"

namespace tolvane {

bool isBluetoothTransport(std::uint32_t transportType) {
  return transportType == kAudioDeviceTransportTypeBluetooth || transportType == kAudioDeviceTransportTypeBluetoothLE;
}

Output::Output(EngineServices& services, AudioObjectID deviceID) : services_(services), deviceID_(deviceID) {}

Result<Output::Opened> Output::open(const PreparedAudio& track, bool takesHogMode, std::optional<FoundRate> foundRate) {
  DeviceProperties& device = services_.device;
  const double sourceRate = track.context->format().mSampleRate;
  Opened opened;
  opened.transportType = device.readDeviceUInt32(deviceID_, kAudioDevicePropertyTransportType).value_or(0);
  const bool isBluetooth = isBluetoothTransport(opened.transportType);
  if (!isBluetooth) findRate(foundRate);  // a Bluetooth link chooses its own rate

  takesHogMode_ = takesHogMode;
  opened.hogMode = takesHogMode ? device.acquireHogMode(deviceID_) : device.readHogMode(deviceID_);
  ownsHogMode_ = opened.hogMode.mayBeOwned();
  opened.rates =
      isBluetooth ? device.readSampleRates(sourceRate, deviceID_) : device.configureSampleRate(sourceRate, deviceID_);
  if (foundRate_) {
    foundRate_->requestedRate = sourceRate;
    foundRate_->settledRate = opened.rates.nominalRate;
  }

  auto unit = createOutputUnit(services_.hardware, deviceID_, track, sequence_.callback(), deliveries_, isBluetooth);
  if (!unit) return std::unexpected(unit.error());
  unit_ = std::move(*unit);
  hasEverRun_ = false;
  source_ = Source{.format = track.context->format(),
                   .channels = track.channels,
                   .bitDepth = track.sourceBitDepth,
                   .isFloat = track.sourceIsFloat};
  return opened;
}

void Output::findRate(std::optional<FoundRate> foundRate) {
  const auto beingRestored = services_.device.waitForRestoredRate(deviceID_);
  const auto nominal = services_.device.readDeviceSampleRate(deviceID_, kAudioDevicePropertyNominalSampleRate);
  foundRate_ = FoundRate{.deviceID = deviceID_, .rate = beingRestored ? beingRestored : nominal};
  foundRate_->hadNone = services_.device.hasNoRateOfItsOwn(deviceID_);
  if (foundRate_->hadNone) foundRate_->rate.reset();
  if (!foundRate || foundRate->deviceID != deviceID_) return;
  // If the rate is neither the one that was found nor one that the engine set, another program has chosen it since.
  const auto isNow = [&](double rate) { return !nominal || ratesAgree(rate, *nominal); };
  if (isNow(foundRate->rate.value_or(0)) || isNow(foundRate->requestedRate) || isNow(foundRate->settledRate))
    foundRate_ = foundRate;
}

Output::~Output() {
  closeUnit();
  giveBack(true);
}

void Output::closeUnit() {
  if (unit_) unit_->uninitialize();
  unit_.reset();
  sequence_.clear();
  track_.reset();
}

void Output::giveBack(bool restoresSampleRate) {
  const auto found = std::exchange(foundRate_, std::nullopt);
  if (restoresSampleRate && found && found->rate.value_or(0) > 0)
    services_.device.restoreNominalSampleRate(*found->rate, deviceID_);
  if (found && found->hadNone && found->settledRate > 0) services_.device.setOwnRate(found->settledRate, deviceID_);
  if (std::exchange(ownsHogMode_, false)) services_.device.releaseHogMode(deviceID_);
}

bool Output::carries(const PreparedAudio& track) const {
  if (!source_ || track.context->format() != source_->format || track.channels != source_->channels) return false;
  if (track.sourceBitDepth == source_->bitDepth && track.sourceIsFloat == source_->isFloat) return true;
  // The unit may have opened the device in a format that is only wide enough for the first track.
  const auto physical = services_.device.readOutputPhysicalFormat(deviceID_);
  return physical && physicalFormatCompatibility(track, *physical);
}

bool Output::canContinueWith(const PreparedAudio& track, const UserChoices& choices) const {
  if (!carries(track) || takesHogMode_ != choices.isExclusiveAccessEnabled) return false;
  const auto device = services_.device.resolveOutputDevice(choices.preferredDeviceID);
  if (!device || *device != deviceID_) return false;
  if (hasStoppedByItself() || services_.device.isReopeningDue(deviceID_)) return false;
  const auto nominal = services_.device.readDeviceSampleRate(deviceID_, kAudioDevicePropertyNominalSampleRate);
  return !nominal || ratesAgree(track.context->format().mSampleRate, *nominal);
}

void Output::load(std::shared_ptr<AudioRenderContext> track) {
  track_ = std::move(track);
  sequence_.load(track_);
}

void Output::loadSilence() {
  sequence_.load(std::make_shared<AudioRenderContext>(PcmBlock(), 0, track_->format(), track_->outputLevels()));
  track_.reset();
}

void Output::beginRun() {
  // More than a ring buffer and the frames that are played before the next health check.
  constexpr double firstSeconds = 1.5;
  if (track_) track_->bringIntoMemory(firstSeconds);
  sequence_.beginRun();
  deliveries_->beginRun();
  services_.deliveries.runBegins(sequence_);
  runBegan_ = hasEverRun_ ? sampleTime() : 0.0;
}

OSStatus Output::start() {
  const OSStatus status = unit_->start();
  if (isStarted_) return status;
  isStarted_ = status == noErr;
  hasEverRun_ = hasEverRun_ || isStarted_;
  return status;
}

Output::StopResult Output::stop() {
  StopResult result{.status = unit_->stop()};
  if (!std::exchange(isStarted_, false)) return result;
  services_.deliveries.keepRest(*deliveries_, sequence_);
  result.hasCrossed = sequence_.endRun(unit_->framesPlayed());
  return result;
}

void Output::takeDelivered() { services_.deliveries.take(*deliveries_, sequence_); }

bool Output::isRunning() const {
  return readProperty<std::uint32_t>(*unit_, AudioUnitProperty::isRunning).value_or(0) != 0;
}

std::optional<double> Output::sampleTime() const {
  const auto time = readProperty<double>(*unit_, AudioUnitProperty::lastRenderSampleTime);
  return time && std::isfinite(*time) ? time : std::nullopt;
}

std::optional<std::int64_t> Output::framesHeard() const {
  if (!unit_ || !isStarted_ || !runBegan_) return std::nullopt;
  const auto time = sampleTime();
  return time ? std::optional(static_cast<std::int64_t>(std::max(*time - *runBegan_, 0.0))) : std::nullopt;
}

std::optional<std::int64_t> Output::framesAhead() const {
  const auto heard = track_ && !sequence_.crossing() ? framesHeard() : std::nullopt;
  if (!heard) return std::nullopt;
  return std::max(track_->currentFrame() - sequence_.positionAfter(*heard), std::int64_t{0});
}

}  // namespace tolvane
