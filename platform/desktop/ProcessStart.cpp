#include "platform/desktop/ProcessStart.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

namespace tolvane {

void prepareProcess() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // The lowest number that is free is the one that is missing.
    if (::fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) (void)::open("/dev/null", O_RDWR);
  }
  std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace tolvane
