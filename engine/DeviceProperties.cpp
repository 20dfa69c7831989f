#include "engine/DeviceProperties.h"

#include <unistd.h>

#include <algorithm>

#include "engine/StreamFormats.h"
#include "platform/PropertyReading.h"

namespace tolvane {
namespace {

// Time for a rate that was written to take effect.
constexpr int settleRounds = 50;
constexpr std::chrono::microseconds settlePause{5000};
/// For this long after a rate was restored, a device that is still at its old rate counts as slow. After that, another
/// program is assumed to have set it.
constexpr std::chrono::milliseconds slowestSettling{600};

constexpr auto nominalRateAddress = globalAddress(kAudioDevicePropertyNominalSampleRate);

}  // namespace

bool DeviceProperties::isSettable(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  return hardware_.isPropertySettable(object, address).value_or(false);
}

std::optional<std::uint32_t> DeviceProperties::readDeviceUInt32(AudioObjectID deviceID, FourCharCode selector) const {
  const auto address = globalAddress(selector);
  if (!hardware_.hasProperty(deviceID, address)) return std::nullopt;
  return readProperty<std::uint32_t>(hardware_, deviceID, address);
}

std::optional<double> DeviceProperties::readDeviceSampleRate(AudioObjectID deviceID, FourCharCode selector) const {
  const auto address = globalAddress(selector);
  if (!hardware_.hasProperty(deviceID, address)) return std::nullopt;
  return readProperty<double>(hardware_, deviceID, address);
}

bool DeviceProperties::isReopeningDue(AudioObjectID deviceID) const {
  return readDeviceUInt32(deviceID, kAudioDevicePropertyReopeningIsDue).value_or(0) != 0;
}

std::vector<AudioObjectID> DeviceProperties::readOutputStreamIDs(AudioObjectID deviceID) const {
  constexpr auto streams = outputAddress(kAudioDevicePropertyStreams);
  const auto size = hardware_.propertyDataSize(deviceID, streams);
  if (!size || *size < sizeof(AudioObjectID)) return {};
  return readProperty<std::vector<AudioObjectID>>(hardware_, deviceID, streams).value_or(std::vector<AudioObjectID>{});
}

std::optional<AudioStreamBasicDescription> DeviceProperties::readOutputPhysicalFormat(AudioObjectID deviceID) const {
  std::optional<AudioStreamBasicDescription> fallback;
  for (const AudioObjectID stream : readOutputStreamIDs(deviceID)) {
    const auto format =
        readProperty<AudioStreamBasicDescription>(hardware_, stream, globalAddress(kAudioStreamPropertyPhysicalFormat));
    if (!format) continue;
    if (!fallback) fallback = format;
    if (readProperty<std::uint32_t>(hardware_, stream, globalAddress(kAudioStreamPropertyIsActive)).value_or(0) != 0)
      return format;
  }
  return fallback;
}

HogModeReport DeviceProperties::readHogMode(AudioObjectID deviceID) const {
  if (!hardware_.hasProperty(deviceID, hogModeAddress)) return {};
  const auto owner = readProperty<std::int32_t>(hardware_, deviceID, hogModeAddress);
  if (!owner) return {.isSupported = true, .isOwnerKnown = false};
  constexpr auto pauseAddress = globalAddress(kAudioDevicePropertyHogModePause);
  return {.isSupported = true,
          .isOwnedByCurrentProcess = *owner == ::getpid(),
          .ownerPID = *owner,
          .pauseSeconds = readProperty<double>(hardware_, deviceID, pauseAddress).value_or(0)};
}

AudioPlayerError DeviceProperties::withOwner(AudioPlayerError error, AudioObjectID deviceID) const {
  if (error.status() != kAudioDevicePermissionsError) return error;
  const HogModeReport report = readHogMode(deviceID);
  if (report.ownerPID <= 0 || report.isOwnedByCurrentProcess) return error;
  constexpr auto nameAddress = globalAddress(kAudioDevicePropertyHogModeOwnerName);
  const bool hasName = hardware_.hasProperty(deviceID, nameAddress);
  FailureContext context = error.context();
  context.owner = {report.ownerPID,
                   hasName ? readProperty<std::string>(hardware_, deviceID, nameAddress).value_or("") : std::string()};
  return std::move(error).with(std::move(context));
}

HogModeReport DeviceProperties::acquireHogMode(AudioObjectID deviceID) {
  const HogModeReport before = readHogMode(deviceID);
  // Writing toggles hog mode: if the owner is unknown, it might release what this process owns.
  if (!before.isSupported || !before.isOwnerKnown || before.ownerPID != -1) return before;
  if (!isSettable(deviceID, hogModeAddress)) return before;
  constexpr std::int32_t anyPID = -1;  // the driver ignores the value
  if (hardware_.setPropertyData(deviceID, hogModeAddress, anyPID) != noErr) return before;
  return readHogMode(deviceID);
}

void DeviceProperties::releaseHogMode(AudioObjectID deviceID) {
  const HogModeReport report = readHogMode(deviceID);
  if (!report.isOwnedByCurrentProcess) return;
  // Runs during cleanup: no caller could act on a failure.
  (void)hardware_.setPropertyData(deviceID, hogModeAddress, report.ownerPID);
}

SampleRateReport DeviceProperties::configureSampleRate(double requested, AudioObjectID deviceID) {
  bool rateChangeAttempted = false;
  const auto nominal = readDeviceSampleRate(deviceID, kAudioDevicePropertyNominalSampleRate);
  bool accepted = nominal && ratesAgree(requested, *nominal) && !isLeaving(deviceID, *nominal);
  if (!accepted) {
    rateChangeAttempted = true;
    accepted = isSettable(deviceID, nominalRateAddress) &&
               hardware_.setPropertyData(deviceID, nominalRateAddress, requested) == noErr;
  }
  if (accepted) waitForRate(requested, deviceID);
  SampleRateReport report = readSampleRates(requested, deviceID);
  // A refused request leaves the earlier one pending.
  if (rateChangeAttempted && accepted) {
    if (ratesAgree(requested, report.nominalRate))
      pendingRates_.erase(deviceID);
    else
      pendingRates_[deviceID] = requested;
  }
  report.rateChangeAttempted = rateChangeAttempted;
  report.didWaitForRate = accepted;
  return report;
}

bool DeviceProperties::isLeaving(AudioObjectID deviceID, double nominal) const {
  const auto wanted = pendingRates_.find(deviceID);
  return wanted != pendingRates_.end() && !ratesAgree(wanted->second, nominal);
}

void DeviceProperties::waitForRate(double requested, AudioObjectID deviceID) const {
  for (int round = 0; round < settleRounds; ++round) {
    if (readSampleRates(requested, deviceID).isMatched()) return;
    runLoop_.sleepFor(settlePause);
  }
}

SampleRateReport DeviceProperties::readSampleRates(double requested, AudioObjectID deviceID) const {
  return {.requestedRate = requested,
          .nominalRate = readDeviceSampleRate(deviceID, kAudioDevicePropertyNominalSampleRate).value_or(0),
          .actualRate = readDeviceSampleRate(deviceID, kAudioDevicePropertyActualSampleRate).value_or(0)};
}

void DeviceProperties::restoreNominalSampleRate(double saved, AudioObjectID deviceID) {
  const auto current = readDeviceSampleRate(deviceID, kAudioDevicePropertyNominalSampleRate);
  if (!current) return;
  // Writing a rate that the device has not adopted yet would replace the one that it still has.
  const bool wasLeaving = isLeaving(deviceID, *current);
  pendingRates_.erase(deviceID);
  if (ratesAgree(*current, saved) && !wasLeaving) return;
  if (hardware_.setPropertyData(deviceID, nominalRateAddress, saved) != noErr) return;
  std::erase_if(restoredRates_, [&](const RestoredRate& rate) { return rate.deviceID == deviceID; });
  restoredRates_.push_back({deviceID, *current, saved, runLoop_.now()});
}

std::optional<double> DeviceProperties::waitForRestoredRate(AudioObjectID deviceID) {
  const auto found = std::ranges::find(restoredRates_, deviceID, &RestoredRate::deviceID);
  if (found == restoredRates_.end()) return std::nullopt;
  const RestoredRate restored = *found;
  restoredRates_.erase(found);
  const auto hasArrived = [&] {
    const auto nominal = readDeviceSampleRate(deviceID, kAudioDevicePropertyNominalSampleRate);
    return !nominal || ratesAgree(restored.rate, *nominal);
  };
  const auto dueBy = restored.writtenAt + settleRounds * settlePause;
  while (runLoop_.now() < dueBy && !hasArrived()) runLoop_.sleepFor(settlePause);
  if (runLoop_.now() - restored.writtenAt > slowestSettling) return std::nullopt;
  // If the device has any other rate, another program has chosen it since.
  const auto nominal = readDeviceSampleRate(deviceID, kAudioDevicePropertyNominalSampleRate);
  const bool isStillLeaving = nominal && !hasArrived() && ratesAgree(restored.left, *nominal);
  return isStillLeaving ? std::optional(restored.rate) : std::nullopt;
}

bool DeviceProperties::hasNoRateOfItsOwn(AudioObjectID deviceID) {
  const auto value = hardware_.propertyData(deviceID, nominalRateAddress);
  // Any other error gives no information about the rate.
  if (!value) return value.error() == kAudioHardwareNotRunningError;
  const auto own = ownRates_.find(deviceID);
  if (own == ownRates_.end()) return false;
  if (const auto* const nominal = std::get_if<double>(&*value); nominal != nullptr && ratesAgree(own->second, *nominal))
    return true;
  ownRates_.erase(own);
  return false;
}

Result<AudioObjectID> DeviceProperties::resolveOutputDevice(std::optional<AudioObjectID> preferredDeviceID) const {
  if (preferredDeviceID) return *preferredDeviceID;
  const auto value =
      hardware_.propertyData(kAudioObjectSystemObject, globalAddress(kAudioHardwarePropertyDefaultOutputDevice));
  if (!value) return failure("Selecting the default output device", value.error());
  const auto* device = std::get_if<std::uint32_t>(&*value);
  if (device == nullptr || *device == kAudioObjectUnknown) return failure("No output audio device is available.");
  return *device;
}

}  // namespace tolvane
