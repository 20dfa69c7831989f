#pragma once
// The kernel that the program runs on, for reports. Any thread.

#include <string>

namespace tolvane {

/// "Linux 6.1.0-18-amd64"; never the machine's name.
[[nodiscard]] std::string kernelName();

}  // namespace tolvane
