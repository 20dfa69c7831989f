#pragma once
// How much memory the kernel reports as available. Any thread. Never blocks on a disk.

#include <cstdint>
#include <filesystem>
#include <istream>

namespace tolvane {

/// Bytes that `meminfo`, in the form of /proc/meminfo, reports as available, free swap space included. The largest
/// number when it reports nothing.
[[nodiscard]] std::uint64_t availableMemoryIn(std::istream& meminfo);

/// Bytes that the control groups (version 2) of a process still allow it: `groups`, in the form of /proc/self/cgroup,
/// names its own group, `root` is where they are mounted. Memory that only caches files counts as available. The
/// largest number if no group has a limit.
[[nodiscard]] std::uint64_t memoryLeftByGroups(const std::filesystem::path& root, std::istream& groups);

/// For this machine and this process, now.
[[nodiscard]] std::uint64_t availableMemory();

}  // namespace tolvane
