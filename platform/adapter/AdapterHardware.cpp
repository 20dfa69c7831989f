#include "platform/adapter/AdapterHardware.h"

#include <algorithm>
#include <array>

namespace tolvane {
namespace {

constexpr std::array systemProperties{globalAddress(kAudioHardwarePropertyDevices),
                                      globalAddress(kAudioHardwarePropertyDefaultOutputDevice)};
constexpr std::array deviceProperties{globalAddress(kAudioObjectPropertyName),
                                      globalAddress(kAudioDevicePropertyDeviceUID),
                                      globalAddress(kAudioDevicePropertyTransportType),
                                      globalAddress(kAudioDevicePropertyNominalSampleRate),
                                      globalAddress(kAudioDevicePropertyAvailableNominalSampleRates),
                                      globalAddress(kAudioDevicePropertyActualSampleRate),
                                      globalAddress(kAudioDevicePropertyHogMode),
                                      globalAddress(kAudioDevicePropertyHogModePause),
                                      globalAddress(kAudioDevicePropertyHogModeOwnerName),
                                      globalAddress(kAudioDevicePropertyReopeningIsDue),
                                      globalAddress(kAudioDevicePropertyDeviceIsAlive),
                                      outputAddress(kAudioDevicePropertyStreams),
                                      outputAddress(kAudioDevicePropertyStreamConfiguration),
                                      globalAddress(kAudioDevicePropertyBufferFrameSize),
                                      globalAddress(kAudioDevicePropertyProcessingIsActive),
                                      globalAddress(kAudioDevicePropertySampleAlterations),
                                      globalAddress(kAudioDevicePropertyDriver),
                                      globalAddress(kAudioDevicePropertySoundServer),
                                      outputAddress(kAudioDevicePropertyVolumeDecibels),
                                      outputAddress(kAudioDevicePropertyChannelPositions)};
constexpr std::array streamProperties{
    globalAddress(kAudioStreamPropertyIsActive), globalAddress(kAudioStreamPropertyPhysicalFormat),
    globalAddress(kAudioStreamPropertyPhysicalFormatSource), globalAddress(kAudioStreamPropertyVirtualFormat)};

/// Both belong to devices: no other kind of object has a property with one of these names.
bool isSettable(FourCharCode selector) {
  return selector == kAudioDevicePropertyNominalSampleRate || selector == kAudioDevicePropertyHogMode;
}

}  // namespace

OSStatus AdapterHardware::addressStatus(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  const auto kind = kindOf(object);
  if (!kind) return kAudioHardwareBadObjectError;
  const auto isIn = [&address](const auto& table) { return std::ranges::find(table, address) != table.end(); };
  const bool isKnown = *kind == Kind::system   ? isIn(systemProperties)
                       : *kind == Kind::device ? isIn(deviceProperties)
                                               : isIn(streamProperties);
  return isKnown && !lacks(object, address.mSelector) ? noErr : kAudioHardwareUnknownPropertyError;
}

OSStatus AdapterHardware::writeStatus(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (const OSStatus status = addressStatus(object, address); status != noErr) return status;
  const bool canBeWritten = isSettable(address.mSelector) && !isFixed(object, address.mSelector);
  return canBeWritten ? noErr : kAudioHardwareIllegalOperationError;
}

bool AdapterHardware::hasProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  return addressStatus(object, address) == noErr;
}

std::expected<std::uint32_t, OSStatus> AdapterHardware::propertyDataSize(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  const auto current = AdapterHardware::propertyData(object, address);
  if (!current) return std::unexpected(current.error());
  return audioPropertyValueSize(*current);
}

std::expected<AudioPropertyValue, OSStatus> AdapterHardware::propertyData(
    AudioObjectID object, const AudioObjectPropertyAddress& address) const {
  if (const OSStatus status = addressStatus(object, address); status != noErr) return std::unexpected(status);
  return value(*kindOf(object), object, address.mSelector);
}

OSStatus AdapterHardware::setPropertyData(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                          const AudioPropertyValue& value) {
  if (const OSStatus status = writeStatus(object, address); status != noErr) return status;
  if (address.mSelector == kAudioDevicePropertyHogMode) {
    // A write toggles, whatever the value.
    return std::holds_alternative<std::int32_t>(value) ? toggleHog(object) : kAudioHardwareBadPropertySizeError;
  }
  const auto* hertz = std::get_if<double>(&value);
  return hertz != nullptr ? setNominalRate(object, *hertz) : kAudioHardwareBadPropertySizeError;
}

std::expected<bool, OSStatus> AdapterHardware::isPropertySettable(AudioObjectID object,
                                                                  const AudioObjectPropertyAddress& address) const {
  const OSStatus status = writeStatus(object, address);
  if (status != noErr && status != kAudioHardwareIllegalOperationError) return std::unexpected(status);
  return status == noErr;
}

std::expected<AudioHardware::ListenerID, OSStatus> AdapterHardware::addPropertyListener(
    AudioObjectID object, const AudioObjectPropertyAddress& address, Listener listener) {
  if (const OSStatus status = addressStatus(object, address); status != noErr) return std::unexpected(status);
  return listeners_.add(object, address, std::move(listener));
}

OSStatus AdapterHardware::removePropertyListener(ListenerID listener) { return listeners_.remove(listener); }

}  // namespace tolvane
