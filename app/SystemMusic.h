#pragma once
// How the window learns what the files state about their music: this machine's files, and covers within them as files
// of the user's cache.

#include "ui/LowPriorityWorkers.h"
#include "ui/MusicStore.h"

namespace tolvane {

/// The workers outlive what uses it.
[[nodiscard]] MusicStore::Source systemMusic(LowPriorityWorkers& workers);

}  // namespace tolvane
