#pragma once
// The properties of a device that an output was configured for. Comparing them with the present ones distinguishes a
// real change from a property notification without one. A plain value.

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/DeviceProperties.h"
#include "platform/AudioHardware.h"

namespace tolvane {

struct DeviceCondition {
  double nominalRate = 0;  ///< hertz; 0: unreadable
  double actualRate = 0;   ///< hertz; 0: absent or unreadable
  std::vector<AudioObjectID> streams;
  std::optional<std::vector<std::uint32_t>> channels;                      ///< of each stream
  std::vector<std::optional<AudioStreamBasicDescription>> physicalFormats;  ///< of each stream
  std::vector<std::optional<AudioStreamBasicDescription>> virtualFormats;   ///< of each stream
  std::uint32_t bufferFrames = 0;                                           ///< 0: unreadable

  /// Reads the present condition of the device. Player's thread.
  static DeviceCondition read(const AudioHardware& hardware, const DeviceProperties& properties, AudioObjectID device);

  /// Whether an output that was configured in this condition, for a source of `sourceRate` hertz, is still correct in
  /// condition `now`. Allowed changes: properties that could not be read before, and a rate that reached the source's
  /// rate late. While the output is idle (paused), properties may be unreadable.
  [[nodiscard]] bool isKeptBy(const DeviceCondition& now, double sourceRate, bool isIdle) const;
  /// Copies the properties that can be read in `now`.
  void learn(const DeviceCondition& now);
};

}  // namespace tolvane
