#pragma once
// What a USB device states about its samples: its 32-bit containers often carry 24 bits, which hw_params does not show.
// Pure: reads the text of /proc/asound/cardN/streamM.

#include <cstdint>
#include <optional>
#include <string_view>

namespace tolvane {

/// The significant bits of a playback stream in this format: those of the active setting, else the fewest of all
/// settings with the format and channels. Nothing if the kernel does not report them.
[[nodiscard]] std::optional<int> parseUsbSignificantBits(std::string_view text, std::string_view format,
                                                         std::uint32_t channels);

}  // namespace tolvane
