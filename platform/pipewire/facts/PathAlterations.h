#pragma once
// All that stands between a stream and the hardware of its sink and changes a sample: found from what the server
// reports. Pure functions; player's thread. What is not known counts as a change.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/SampleAlteration.h"
#include "platform/pipewire/facts/PipeWireFacts.h"

namespace tolvane {

/// Empty: nothing between the stream and the sink's hardware changes a sample.
[[nodiscard]] std::vector<SampleAlteration> alterationsOf(const PipeWireFacts& facts, std::uint32_t sink,
                                                          const PipeWireStreamFacts& stream);

/// The one alteration of a sink that the server has no more.
[[nodiscard]] SampleAlteration withdrawnDevice();

/// The details, one after another; for the log.
[[nodiscard]] std::string detailsOf(const std::vector<SampleAlteration>& alterations);

/// A factor on the samples as volume controls show it: cubic, with as many digits as it takes not to read 100.
[[nodiscard]] std::string volumePercent(float factor);

}  // namespace tolvane
