#pragma once
// Where the session bus is, and whether anything answers there. Any thread; waits no longer than it is told to. Sends
// nothing but the greeting of a client that then hangs up.

#include <chrono>
#include <string>

namespace tolvane {

/// As the environment names it; empty when this session has none. Never starts one.
[[nodiscard]] std::string sessionBusAddress();

/// False when nothing listens at the address, or what listens says nothing in time. Of addresses that are no socket of
/// this machine nothing can be said: true.
[[nodiscard]] bool busAnswers(const std::string& address, std::chrono::milliseconds limit);

}  // namespace tolvane
