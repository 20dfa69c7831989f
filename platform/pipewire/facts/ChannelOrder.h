#pragma once
// Whether a sink's channels play from the loudspeakers that the server takes them for: by what the card's driver
// states, and else by the name that the card's PCM is opened by. Pure functions; player's thread.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/BilingualText.h"
#include "platform/SampleAlteration.h"
#include "platform/pipewire/facts/PipeWireFacts.h"

namespace tolvane {

/// The server's names of these channels, in order.
[[nodiscard]] std::vector<std::string> channelNames(const std::vector<std::uint32_t>& positions);
/// The names in one text, for people.
[[nodiscard]] BilingualText listOfChannels(const std::vector<std::string>& names);

/// Of a sink whose channels have names: another order than the device has, or one that is not known.
[[nodiscard]] std::vector<SampleAlteration> orderAlterations(const PipeWireFacts& facts, const PipeWireSink& sink,
                                                             const PipeWireStreamFacts& stream);

/// Of a sink whose channels are only numbered, and are linked to the track's in their order. REQUIRES: as many
/// channels.
[[nodiscard]] std::vector<SampleAlteration> numberedAlterations(const PipeWireFacts& facts, const PipeWireSink& sink,
                                                                const PipeWireStreamFacts& stream);

}  // namespace tolvane
