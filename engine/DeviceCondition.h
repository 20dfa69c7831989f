#pragma once
// What of a device an output was configured for, so that a notice about it can be told from a change of it. A plain
// value.

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

  /// As the device is now. Player's thread.
  static DeviceCondition read(const AudioHardware& hardware, const DeviceProperties& properties, AudioObjectID device);

  /// Whether an output that was configured in this condition, for a source of `sourceRate` hertz, is as good in that
  /// one: nothing has changed, but for what could not be read before, and for a rate that arrived late. Of an output
  /// that is idle (paused) the device need not tell everything.
  [[nodiscard]] bool isKeptBy(const DeviceCondition& now, double sourceRate, bool isIdle) const;
  /// Takes over what can be read now.
  void learn(const DeviceCondition& now);
};

}  // namespace tolvane
