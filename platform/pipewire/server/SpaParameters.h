#pragma once
// Reads and writes the parameters of PipeWire objects in their binary notation. Pure functions; the pods may come from
// any client of any server and are fully validated (PodReader).

#include <spa/pod/pod.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/pipewire/facts/PipeWireFacts.h"

namespace tolvane {

/// The format agreed on; nothing for what is no PCM.
[[nodiscard]] std::optional<PipeWireFormat> parseFormat(const spa_pod* pod);

/// What one entry of the formats that a sink could take says of rates and channels.
struct PipeWireFormatChoice {
  std::vector<AudioValueRange> rates;
  std::uint32_t maximumChannels = 0;
  std::vector<std::uint32_t> positions;  ///< empty: of more than one number of channels, or not stated
};
[[nodiscard]] std::optional<PipeWireFormatChoice> parseFormatChoice(const spa_pod* pod);

/// Adds what one of a node's lists of properties reports; the rest stays. A pod that is none makes the properties
/// unreadable.
void applyProps(const spa_pod* pod, NodeProps& props);

/// Whether all of a node's or a card's parameter can be read to its end; no pod at all can.
[[nodiscard]] bool isWellFormed(const spa_pod* pod);

struct PipeWireProfile {
  std::uint32_t index = 0;
  std::string name;
};
[[nodiscard]] std::optional<PipeWireProfile> parseProfile(const spa_pod* pod);

/// A pod and the memory it lies in.
class SpaPodBuffer {
 public:
  SpaPodBuffer(SpaPodBuffer&&) = default;
  SpaPodBuffer& operator=(SpaPodBuffer&&) = default;
  [[nodiscard]] const spa_pod* pod() const { return pod_; }

 private:
  friend SpaPodBuffer streamFormatPod(std::uint32_t, const std::vector<std::uint32_t>&);
  friend SpaPodBuffer profilePod(std::uint32_t);

  SpaPodBuffer() : memory_(4096) {}

  std::vector<std::byte> memory_;  ///< as aligned as what operator new gives; moving it moves no byte
  const spa_pod* pod_ = nullptr;
};

/// Interleaved 32-bit float at `rate`, a channel a position.
[[nodiscard]] SpaPodBuffer streamFormatPod(std::uint32_t rate, const std::vector<std::uint32_t>& positions);
/// The choice of a profile that the session manager does not remember.
[[nodiscard]] SpaPodBuffer profilePod(std::uint32_t index);

}  // namespace tolvane
