#pragma once
// Why files and folders that were opened bring nothing to play. Asks the disk; any thread.

#include <span>

#include "platform/BilingualText.h"
#include "platform/FileURL.h"

namespace tolvane {

/// A sentence about these, in which no supported audio file was found: "Nothing to play in a.ogg: .ogg is not a format
/// this player plays." Empty when none were given.
[[nodiscard]] BilingualText nothingToPlay(std::span<const FileURL> given);

}  // namespace tolvane
