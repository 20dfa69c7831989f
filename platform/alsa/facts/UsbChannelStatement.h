#pragma once
// Whether a USB device states the loudspeakers of its channels. The kernel's driver makes up a channel map for one that
// does not, which looks like any other. Pure: reads the device's descriptors, as the kernel shows them in a file.

#include <cstdint>
#include <string_view>

namespace tolvane {

/// Whether every playback setting with so many channels has loudspeakers for them in its descriptors (USB audio class 1
/// and 2). False where there is none, or where the descriptors cannot be read.
[[nodiscard]] bool statesLoudspeakers(std::string_view descriptors, std::uint32_t channels);

}  // namespace tolvane
