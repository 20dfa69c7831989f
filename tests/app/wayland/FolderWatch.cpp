#include "tests/app/wayland/FolderWatch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace tolvane::test {

namespace {

constexpr int longestWait = 30'000;  // milliseconds

}  // namespace

void waitForFile(const std::filesystem::path& file, pid_t process) {
  const int notices = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  inotify_add_watch(notices, file.parent_path().c_str(), IN_CREATE);
  while (!std::filesystem::exists(file)) {
    pollfd change{notices, POLLIN, 0};
    const bool isOver = ::poll(&change, 1, longestWait) <= 0 || ::waitpid(process, nullptr, WNOHANG) == process;
    if (isOver) throw std::runtime_error("A program does not start, or does not become ready.");
    char events[4096];
    while (::read(notices, events, sizeof(events)) > 0) continue;
  }
  ::close(notices);
}

}  // namespace tolvane::test
