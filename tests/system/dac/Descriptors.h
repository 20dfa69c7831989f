#pragma once
// How the DAC describes itself: USB 2 device, USB Audio Class 2, one clock, one stream out with explicit feedback.
// Pure.

#include <string_view>

#include "tests/system/dac/Bytes.h"
#include "tests/system/dac/DacSettings.h"

namespace tolvane {

/// Units and terminals of the audio function, by the numbers that requests name them with.
enum class AudioEntity { input = 1, volume, output, clock };

inline constexpr int kStreamInterface = 1;
inline constexpr int kStreamEndpoint = 1;  // out: samples; in: feedback

enum class StringIndex { languages, maker, name, serial };

[[nodiscard]] Bytes deviceDescriptor();
[[nodiscard]] Bytes configurationDescriptor(const DacSettings& settings);
[[nodiscard]] Bytes languagesDescriptor();
[[nodiscard]] Bytes stringDescriptor(std::string_view ascii);

}  // namespace tolvane
