#pragma once
// Everything between a stream and the hardware of its sink that changes a sample, derived from what the server reports.
// Pure functions; player's thread. Unknown stages count as a change.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/SampleAlteration.h"
#include "platform/pipewire/facts/PipeWireFacts.h"

namespace tolvane {

/// Empty: nothing between the stream and the sink's hardware changes a sample.
[[nodiscard]] std::vector<SampleAlteration> alterationsOf(const PipeWireFacts& facts, std::uint32_t sink,
                                                          const PipeWireStreamFacts& stream);

/// The one alteration of a sink that the server no longer has.
[[nodiscard]] SampleAlteration withdrawnDevice();

/// The details, one after another; for the log.
[[nodiscard]] std::string detailsOf(const std::vector<SampleAlteration>& alterations);

/// A factor on the samples as volume controls show it: cubic, with as many digits as it takes not to read 100.
[[nodiscard]] std::string volumePercent(float factor);

}  // namespace tolvane
