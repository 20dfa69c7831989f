#pragma once
// Which channel of a source each channel of a device plays, by the positions of both. A plain value and pure functions
// for any thread; never moves a channel to another loudspeaker.

#include <cstddef>
#include <optional>
#include <vector>

#include "platform/ChannelLayout.h"
#include "platform/SampleAlteration.h"

namespace tolvane {

struct ChannelPlacement {
  /// For each channel of the device the source's channel that it plays; nothing: silence.
  std::vector<std::optional<std::size_t>> sourceOf;
  /// Channels of the source for whose positions the device has no channel.
  std::vector<std::size_t> unplaced;
  /// Every channel was placed by a position that both sides state.
  bool isCertain = true;
};

/// Mono goes to front left and front right. Rear and side loudspeakers are the same pair where one side names only the
/// rear and the other only the side ones; of two surround pairs HDMI calls the side one rear, and the rear one rear of
/// centre. Channels of unknown position, and what is left for channels of the device
/// that are unknown, keep their order; then the placement is not certain.
[[nodiscard]] ChannelPlacement placeChannels(const ChannelLayout& source, const ChannelLayout& device);

/// What a placement does to the sound: conversion where channels are mixed or dropped, unknown where they may play from
/// other loudspeakers than they are meant for. Nothing where every channel plays, unaltered, from its own loudspeaker,
/// or where a mono or stereo track merely leaves loudspeakers silent or plays from two.
[[nodiscard]] std::optional<SampleAlteration> placementAlteration(const ChannelLayout& source,
                                                                  const ChannelLayout& device);

}  // namespace tolvane
