#pragma once
// What one node of the server, a sink or the player's stream, reports of its levels and of the settings of its
// converter. Player's thread; plain values, and pure questions about them. A setting that the player does not know
// counts as an alteration.

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/BilingualText.h"
#include "platform/SampleAlteration.h"

namespace tolvane {

struct NodeProps {
  bool isReadable = true;  ///< no part of the report was malformed
  /// Factors on the samples, one per channel of each list that the node reports them in; empty: not reported (yet).
  std::vector<float> volumes;
  float volume = 1;
  bool isMuted = false;
  /// What the server multiplies by itself where the card's own mixer does the rest; empty: not reported, and then the
  /// volumes above are what it multiplies by.
  std::vector<float> softVolumes;
  bool isSoftMuted = false;
  double rate = 1;  ///< speed of the adaptive resampler

  /// Named settings, in the order of the report; numbers and switches as text.
  std::vector<std::pair<std::string, std::string>> settings;
  std::set<std::uint32_t> unknownKeys;  ///< of properties beside the ones above and those known to alter nothing

  bool operator==(const NodeProps&) const = default;
};

/// Whether a property of a node, by its number, is known to leave samples as they are whatever its value is.
[[nodiscard]] bool altersNothing(std::uint32_t propertyKey);

/// The alterations by all but levels: filters, limits of the level, dither, an adaptive resampler, and what is not
/// known. `whose`: "this device".
[[nodiscard]] std::vector<SampleAlteration> settingAlterations(const NodeProps& props, const BilingualText& whose);

/// Whether a setting of that name holds filters of the server's converter.
[[nodiscard]] bool isFilterSetting(std::string_view name);

/// "node:control". PipeWire 1.4 shows a running filter graph by the controls of its nodes alone: the setting that holds
/// the graph reads as empty.
[[nodiscard]] bool isFilterControl(std::string_view name);

}  // namespace tolvane
