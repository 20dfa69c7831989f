#pragma once
// Translates alsa-lib's negative error numbers to statuses of the device layer. Any thread, also the render thread.

#include <string>

#include "platform/AudioStatus.h"

namespace tolvane {

/// The one place where an error of alsa-lib, or a negative errno, becomes a status. 0 and above is success.
[[nodiscard]] OSStatus statusFromAlsaError(long error) noexcept;

/// For logs: "Device or resource busy (-16)".
[[nodiscard]] std::string alsaErrorText(long error);

/// Keeps alsa-lib from printing errors to stderr, which it does by default. Player's thread.
void silenceAlsaLibrary();

}  // namespace tolvane
