#include "app/SilentSessionBus.h"

#include <cstdlib>
#include <string>

#include "platform/desktop/SessionBus.h"

namespace tolvane {

void leaveSilentSessionBus(Log& log, std::chrono::milliseconds limit) {
  const std::string address = sessionBusAddress();
  if (address.empty() || busAnswers(address, limit)) return;
  // The usual way to disable the bus: there is no such transport, so every connection fails at once.
  ::setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
  log.write(LogLevel::standard, "SessionBus",
            "The session bus does not answer: no media keys, no tray, and a second start opens a second player.");
}

}  // namespace tolvane
