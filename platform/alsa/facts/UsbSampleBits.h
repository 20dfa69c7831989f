#pragma once
// What a USB device says of its own samples: its 32-bit containers often carry 24 bits, which hw_params does not tell.
// Pure: reads the text of /proc/asound/cardN/streamM.

#include <cstdint>
#include <optional>
#include <string_view>

namespace tolvane {

/// The significant bits of a playback stream in this format: those of the setting that is running, else the fewest of
/// all settings with the format and channels. Nothing where the kernel does not tell.
[[nodiscard]] std::optional<int> parseUsbSignificantBits(std::string_view text, std::string_view format,
                                                         std::uint32_t channels);

}  // namespace tolvane
