#pragma once
// What is known about a failure besides its stage and status. A value, from which PlainWords makes a sentence.

#include <cstdint>
#include <optional>
#include <string>

#include "platform/FileFinding.h"

namespace tolvane {

/// A track whose file holds less data than its header states.
struct TrackCut {
  double heldSeconds = 0;
  double wholeSeconds = 0;  ///< the length in the header
  bool isPartOfFile = false;  ///< the track is a part of the file, as a CUE sheet names it

  bool operator==(const TrackCut&) const = default;
};

/// Another process, which owns the device.
struct DeviceOwner {
  std::int32_t pid = 0;
  std::string name;  ///< chosen by that process, may contain control characters; empty: unknown

  bool operator==(const DeviceOwner&) const = default;
};

struct FailureContext {
  FileFinding file{};
  std::string expectedFormat{};  ///< AudioFormat::name by the extension; empty: unsupported
  std::optional<TrackCut> cut{};
  std::optional<DeviceOwner> owner{};

  bool operator==(const FailureContext&) const = default;
};

}  // namespace tolvane
