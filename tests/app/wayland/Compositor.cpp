#include "tests/app/wayland/Compositor.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "tests/app/wayland/FolderWatch.h"

namespace tolvane::test {
namespace {

constexpr const char* socketName = "test";

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
