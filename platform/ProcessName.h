#pragma once
// The kernel's name of a process. Any thread.

#include <sys/types.h>

#include <string>

namespace tolvane {

/// The name in /proc/<pid>/comm, as the process has chosen it, unprintable characters included; empty when it cannot be
/// read. `processes`: the folder of the processes.
[[nodiscard]] std::string readProcessName(pid_t process, const std::string& processes = "/proc");

/// Whether the process is the daemon of a sound server that opens cards without reserving them: its session manager
/// reserves them for the daemon. Its name decides, because the server does not report its process, and a socket that
/// the session's service manager opened hides it.
[[nodiscard]] bool isSoundServer(pid_t process, const std::string& processes = "/proc");

}  // namespace tolvane
