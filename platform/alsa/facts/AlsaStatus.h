#pragma once
// What alsa-lib's negative error numbers are called in the device layer. Any thread, also the render thread.

#include <string>

#include "platform/AudioStatus.h"

namespace tolvane {

/// The one place where an error of alsa-lib, or a negative errno, becomes a status. 0 and above is success.
[[nodiscard]] OSStatus statusFromAlsaError(long error) noexcept;

/// For logs: "Device or resource busy (-16)".
[[nodiscard]] std::string alsaErrorText(long error);

/// alsa-lib prints errors to stderr on its own; once this has been called, it does not. Player's thread.
void silenceAlsaLibrary();

}  // namespace tolvane
