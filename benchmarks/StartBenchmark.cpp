// bench_start COMMAND...: starts a program on the X server that DISPLAY names, where nothing else may open a window,
// and prints as one line of JSON after how many milliseconds its window was mapped, and after how many it had drawn
// something into it. Then it reads lines: "close" asks the window to close, as its button does. It ends with its input,
// and the program with it. Exit status 1, with a message: no window within half a minute, or it went away before it had
// drawn.

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
Reply<T> owned(T* reply) {
  return {reply, &std::free};
}

constexpr std::uint16_t leastWidth = 200;  // pixels: what is smaller is not the program's main window
constexpr auto patience = std::chrono::seconds(30);

class Screen {
 public:
  Screen() : connection_(xcb_connect(nullptr, nullptr), &xcb_disconnect) {
    if (xcb_connection_has_error(connection_.get())) throw std::runtime_error("There is no X server.");
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_.get())).data->root;
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_.get(), root_, XCB_CW_EVENT_MASK, &events);
    xcb_flush(connection_.get());
  }

  /// The next main window that is mapped.
  xcb_window_t waitForWindow(Clock::time_point end) {
    while (Clock::now() < end) {
      const auto event = owned(xcb_poll_for_event(connection_.get()));
      if (!event) {
        std::this_thread::sleep_for(std::chrono::microseconds(500));
        continue;
      }
      if ((event->response_type & 0x7f) != XCB_MAP_NOTIFY) continue;
      xcb_map_notify_event_t mapped;
      std::memcpy(&mapped, event.get(), sizeof mapped);
      const auto size = geometry(mapped.window);
      if (size && size->width >= leastWidth && !mapped.override_redirect) return mapped.window;
    }
    throw std::runtime_error("The program has shown no window.");
  }

  /// Returns once the window has more than one colour.
  void waitForContents(xcb_window_t window, Clock::time_point end) {
    while (Clock::now() < end) {
      const auto size = geometry(window);
      if (!size) throw std::runtime_error("The window went away.");
      const auto image = owned(xcb_get_image_reply(
          connection_.get(),
          xcb_get_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0, size->width, size->height, ~0U),
          nullptr));
      if (image && hasContents({reinterpret_cast<const char*>(xcb_get_image_data(image.get())),
                                static_cast<std::size_t>(xcb_get_image_data_length(image.get()))}))
        return;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    throw std::runtime_error("The program has drawn nothing.");
  }

  /// As a window manager asks.
  void close(xcb_window_t window) {
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = window;
    message.type = atom("WM_PROTOCOLS");
    message.data.data32[0] = atom("WM_DELETE_WINDOW");
    xcb_send_event(connection_.get(), 0, window, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
    xcb_flush(connection_.get());
  }

 private:
  Reply<xcb_get_geometry_reply_t> geometry(xcb_window_t window) {
    return owned(xcb_get_geometry_reply(connection_.get(), xcb_get_geometry(connection_.get(), window), nullptr));
  }

  xcb_atom_t atom(std::string_view name) {
    const auto reply = owned(xcb_intern_atom_reply(
        connection_.get(), xcb_intern_atom(connection_.get(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
  }

  static bool hasContents(std::string_view pixels) {
    return pixels.size() > 4 && pixels.substr(4) != pixels.substr(0, pixels.size() - 4);
  }

  std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection_;
  xcb_window_t root_ = XCB_WINDOW_NONE;
};

class Program {
 public:
  explicit Program(char** command) : pid_(fork()) {
    if (pid_ < 0) throw std::runtime_error("The program could not be started.");
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nothing = open("/dev/null", O_RDWR);
    for (const int standard : {0, 1, 2}) dup2(nothing, standard);
    execvp(command[0], command);
    _exit(127);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }

  [[nodiscard]] pid_t pid() const { return pid_; }

 private:
  pid_t pid_;
};

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

void measure(char** command) {
  Screen screen;
  const auto start = Clock::now();
  const Program program(command);
  const auto window = screen.waitForWindow(start + patience);
  const double mapped = millisecondsSince(start);
  screen.waitForContents(window, start + patience);
  std::printf("{\"pid\": %d, \"mapped\": %.1f, \"drawn\": %.1f}\n", program.pid(), mapped, millisecondsSince(start));
  std::fflush(stdout);
  for (std::string line; std::getline(std::cin, line);)
    if (line == "close") screen.close(window);
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc < 2) {
    std::fputs("usage: bench_start COMMAND...\n", stderr);
    return 2;
  }
  try {
    measure(argv + 1);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "bench_start: %s\n", failure.what());
    return 1;
  }
}
