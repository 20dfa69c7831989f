#pragma once
// Waits for a file that a program makes when it is ready. Any thread.

#include <sys/types.h>

#include <filesystem>

namespace tolvane::test {

/// Returns when the file is there. `process` is a child that makes it; throws when it has ended, or after 30 s.
void waitForFile(const std::filesystem::path& file, pid_t process);

}  // namespace tolvane::test
