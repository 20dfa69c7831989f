#pragma once
// Reads a property as the one type that the caller expects. Player's thread; any failure is an empty result.

#include <optional>
#include <utility>

#include "platform/AudioHardware.h"

namespace tolvane {

/// The property's value; nothing when it cannot be read or is of another type.
template <typename T>
[[nodiscard]] std::optional<T> readProperty(const AudioHardware& hardware, AudioObjectID object,
                                            const AudioObjectPropertyAddress& address) {
  auto value = hardware.propertyData(object, address);
  T* typed = value ? std::get_if<T>(&*value) : nullptr;
  return typed != nullptr ? std::optional(std::move(*typed)) : std::nullopt;
}

/// The same for a property of an output unit.
template <typename T>
[[nodiscard]] std::optional<T> readProperty(const AudioOutputUnit& unit, AudioUnitProperty property,
                                            AudioUnitScope scope = AudioUnitScope::global) {
  auto value = unit.property(property, scope, 0);
  T* typed = value ? std::get_if<T>(&*value) : nullptr;
  return typed != nullptr ? std::optional(std::move(*typed)) : std::nullopt;
}

}  // namespace tolvane
