#pragma once
// Whether a USB device states the loudspeakers of its channels. For one that does not, the kernel's driver invents a
// channel map that looks like any other. Pure: reads the device's descriptors, as the kernel shows them in a file.

#include <cstdint>
#include <string_view>

namespace tolvane {

/// Whether every playback setting with this number of channels states loudspeakers for them in its descriptors (USB
/// audio class 1 and 2). False if there is none, or if the descriptors cannot be read.
[[nodiscard]] bool statesLoudspeakers(std::string_view descriptors, std::uint32_t channels);

}  // namespace tolvane
