#pragma once
// Where the session bus is, and whether it answers. Any thread; waits no longer than the given limit. Sends nothing but
// a client's greeting, and then disconnects.

#include <chrono>
#include <string>

namespace tolvane {

/// As the environment names it; empty when this session has none. Never starts one.
[[nodiscard]] std::string sessionBusAddress();

/// False if no process listens at the address, or if it does not answer in time. True if the addresses are not sockets
/// of this machine, because they cannot be checked.
[[nodiscard]] bool busAnswers(const std::string& address, std::chrono::milliseconds limit);

}  // namespace tolvane
