#pragma once
// The numbers that a PipeWire server has for the loudspeakers of channels, and their names. Pure functions.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/ChannelLayout.h"

namespace tolvane {

/// "FL", "AUX3": the server's name of a speaker's number.
[[nodiscard]] std::string channelName(std::uint32_t position);

/// The server's numbers of these positions; an auxiliary channel each for those that are unknown.
[[nodiscard]] std::vector<std::uint32_t> positionsOf(const ChannelLayout& channels);
/// The reverse: unknown for every number that has no position.
[[nodiscard]] ChannelLayout layoutOf(const std::vector<std::uint32_t>& positions);

/// A track's positions by the names that a sink has for them: rear and side loudspeakers are the same pair where one
/// has only the rear and the other only the side ones, as in placeChannels(). The server would mix the one into the
/// other.
[[nodiscard]] std::vector<std::uint32_t> namedAsBy(const std::vector<std::uint32_t>& sink,
                                                   std::vector<std::uint32_t> track);

}  // namespace tolvane
