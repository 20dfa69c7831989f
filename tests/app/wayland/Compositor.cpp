#include "tests/app/wayland/Compositor.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace tolvane::test {
namespace {

constexpr const char* socketName = "test";
constexpr int longestWait = 30'000;  // milliseconds

constexpr std::string_view settings = R"([core]
shell=desktop-shell.so
backend=x11-backend.so
use-pixman=true
idle-time=0
[shell]
background-color=0xff{:06x}
background-type=tile
panel-position=none
locking=false
animation=none
startup-animation=none
close-animation=none
focus-animation=none
[output]
name=X1
mode={}x{}
scale={}
)";

/// Returns when the folder has the file.
void waitForFile(const std::filesystem::path& file, pid_t process) {
  const int notices = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  inotify_add_watch(notices, file.parent_path().c_str(), IN_CREATE);
  while (!std::filesystem::exists(file)) {
    pollfd change{notices, POLLIN, 0};
    const bool isOver = ::poll(&change, 1, longestWait) <= 0 || ::waitpid(process, nullptr, WNOHANG) == process;
    if (isOver) throw std::runtime_error("The compositor does not start.");
    char events[4096];
    while (::read(notices, events, sizeof(events)) > 0) continue;
  }
  ::close(notices);
}

}  // namespace

Compositor::Compositor(const std::string& program, int scale) {
  std::string folder = (std::filesystem::temp_directory_path() / "compositor-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("There is no folder for the compositor.");
  folder_ = folder;
  std::ofstream(folder_ / "weston.ini") << fmt::format(settings, background, screen.width(), screen.height(), scale);
  ::setenv("XDG_RUNTIME_DIR", folder_.c_str(), 1);
  ::setenv("WAYLAND_DISPLAY", socketName, 1);
  ::setenv("QT_QPA_PLATFORM", "wayland", 1);
  // It ends with the test, however that ends.
  process_.emplace(std::vector<std::string>{
      "setpriv", "--pdeathsig", "KILL", program, "--config=" + (folder_ / "weston.ini").string(), "--use-pixman",
      std::string("--socket=") + socketName, "--log=" + (folder_ / "log").string()});
  waitForFile(folder_ / socketName, process_->pid());
}

Compositor::~Compositor() {
  process_.reset();
  std::error_code error;
  std::filesystem::remove_all(folder_, error);
}

}  // namespace tolvane::test
