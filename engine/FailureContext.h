#pragma once
// What is known about a failure besides its stage and status. A value, for the plain words.

#include <cstdint>
#include <optional>
#include <string>

#include "platform/FileFinding.h"

namespace tolvane {

/// A track of which the file holds less than its header states.
struct TrackCut {
  double heldSeconds = 0;
  double wholeSeconds = 0;  ///< as the header states it

  bool operator==(const TrackCut&) const = default;
};

/// Another process, which has the device.
struct DeviceOwner {
  std::int32_t pid = 0;
  std::string name;  ///< as the process has chosen it, control characters included; empty: not known

  bool operator==(const DeviceOwner&) const = default;
};

struct FailureContext {
  FileFinding file{};
  std::string expectedFormat{};  ///< of the file by its name, as AudioFormat::name; empty: none that is played
  std::optional<TrackCut> cut{};
  std::optional<DeviceOwner> owner{};

  bool operator==(const FailureContext&) const = default;
};

}  // namespace tolvane
