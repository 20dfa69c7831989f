#include "platform/adapter/AdapterOutputUnit.h"

namespace tolvane {
namespace {

using Property = std::expected<AudioUnitPropertyValue, OSStatus>;

/// Constructed in place: the compiler takes the moved-from temporary for uninitialised memory.
template <typename Value>
Property asProperty(const std::expected<Value, OSStatus>& value) {
  if (!value) return std::unexpected(value.error());
  return Property(std::in_place, *value);
}

}  // namespace

OSStatus AdapterOutputUnit::setProperty(AudioUnitProperty property, AudioUnitScope scope, std::uint32_t element,
                                        const AudioUnitPropertyValue& value) {
  return settings_.set(property, scope, element, value, state_, [this](AudioObjectID id) { return hasDevice(id); });
}

std::expected<AudioUnitPropertyValue, OSStatus> AdapterOutputUnit::property(AudioUnitProperty property,
                                                                            AudioUnitScope scope,
                                                                            std::uint32_t element) const {
  if (const OSStatus status = OutputUnitSettings::placeStatus(property, scope, element); status != noErr)
    return std::unexpected(status);
  switch (property) {
    case AudioUnitProperty::lastRenderError:
      return asProperty(takeRenderError());
    case AudioUnitProperty::isRunning: {
      const auto alive = isAlive();
      if (!alive) return std::unexpected(alive.error());
      return Property(std::in_place, *alive ? std::uint32_t{1} : std::uint32_t{0});
    }
    case AudioUnitProperty::lastRenderSampleTime:
      return asProperty(sampleTime());
    default:
      return settings_.get(property, scope);
  }
}

}  // namespace tolvane
