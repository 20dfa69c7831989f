#pragma once
// Merges the two paths to a device: through a sink of the server, and directly to its card. Pure: the same lists give
// the same devices. Never identifies a card by an index or a number that may belong to another card after a restart.

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/AudioHardware.h"
#include "platform/pipewire/facts/PipeWireFacts.h"

namespace tolvane {

struct CardDevice {
  AudioObjectID id = kAudioObjectUnknown;
  std::string uid;
  std::string name;
  std::uint32_t transport = 0;
};

struct MergedDevice {
  std::string uid;
  std::string name;  ///< the server's name for users, else the card's; several devices may share one
  std::uint32_t transport = 0;
  std::optional<std::uint32_t> sink;
  AudioObjectID cardDevice = kAudioObjectUnknown;

  bool operator==(const MergedDevice&) const = default;
};

/// The part of a device's uid that names its card.
[[nodiscard]] std::string cardPart(const std::string& uid);

/// A device whose card the server uses is listed only if it has a sink: the others are paths that the server does not
/// use now. `kept` names cards (cardPart) whose devices stay listed in any case.
[[nodiscard]] std::vector<MergedDevice> mergeDevices(std::span<const CardDevice> cards, const PipeWireFacts& facts,
                                                     const std::set<std::string>& kept);

struct ListedDevice {
  MergedDevice device;
  bool isSinkExpected = false;  ///< it has none, but one is likely to come in a moment
};

/// The list while some sinks are temporarily away: a kept card shows only devices that were listed `before`, and a
/// device that only the server has stays until its sink is back.
[[nodiscard]] std::vector<MergedDevice> withoutComingsAndGoings(std::vector<MergedDevice> merged,
                                                                std::span<const ListedDevice> before,
                                                                const std::set<std::string>& kept);

}  // namespace tolvane
