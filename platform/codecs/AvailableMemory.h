#pragma once
// How much memory the kernel says can be had. Any thread. Never blocks on a disk.

#include <cstdint>
#include <istream>

namespace tolvane {

/// Bytes that `meminfo`, in the form of /proc/meminfo, reports as available, free swap space included. The largest
/// number when it reports nothing.
[[nodiscard]] std::uint64_t availableMemoryIn(std::istream& meminfo);

/// Of this machine, now.
[[nodiscard]] std::uint64_t availableMemory();

}  // namespace tolvane
