#pragma once
// Brings together the two ways to a device: through a sink of the server, and directly. Pure: the same lists give the
// same devices. Never tells a card by an index or a number that another start would give to another card.

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "platform/AudioHardware.h"
#include "platform/pipewire/facts/PipeWireFacts.h"

namespace tolvane {

struct DirectDevice {
  AudioObjectID id = kAudioObjectUnknown;
  std::string uid;
  std::string name;
  std::uint32_t transport = 0;
};

struct MergedDevice {
  std::string uid;
  std::string name;  ///< as the server's people know it, else the direct side's; several devices may share one
  std::uint32_t transport = 0;
  std::optional<std::uint32_t> sink;
  AudioObjectID direct = kAudioObjectUnknown;

  bool operator==(const MergedDevice&) const = default;
};

/// What of a device's uid names its card.
[[nodiscard]] std::string cardPart(const std::string& uid);

/// A device whose card the server plays on is listed only where it has a sink: the others are ways that the server does
/// not use just now. `kept` names cards (cardPart) whose devices stay listed in any case.
[[nodiscard]] std::vector<MergedDevice> mergeDevices(std::span<const DirectDevice> direct, const PipeWireFacts& facts,
                                                     const std::set<std::string>& kept);

struct ListedDevice {
  MergedDevice device;
  bool isSinkExpected = false;  ///< it has none, and one is likely to come in a moment
};

/// The list for a moment in which some sinks are away for a while: of a kept card nothing is shown that was not shown
/// `before`, and a device that only the server has stays until its sink is back.
[[nodiscard]] std::vector<MergedDevice> withoutComingsAndGoings(std::vector<MergedDevice> merged,
                                                                std::span<const ListedDevice> before,
                                                                const std::set<std::string>& kept);

}  // namespace tolvane
