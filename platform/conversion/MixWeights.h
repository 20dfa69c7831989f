#pragma once
// How loud each channel of a source is in each channel of a device that lacks some of its positions. A pure function
// for any thread. No mix exceeds full scale.

#include <vector>

#include "platform/conversion/ChannelPlacement.h"

namespace tolvane {

/// A row of source weights for each channel of the device. A channel with a place keeps it; one without goes to its
/// neighbours, 3 dB down where it is split; low-frequency channels without a place are left out. All weights are scaled
/// alike, so that no row adds up to more than 1.
[[nodiscard]] std::vector<double> mixWeights(const ChannelLayout& source, const ChannelLayout& device,
                                             const ChannelPlacement& placement);

}  // namespace tolvane
