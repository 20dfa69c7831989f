#pragma once
// The X server that DISPLAY names, on a connection of the test's own: moves the pointer, and reads what the window
// manager has set on windows. Throws when the server or the window manager is gone.

#include <xcb/xcb.h>

#include <QRect>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tolvane::test {

class XServer {
 public:
  XServer();
  ~XServer();
  XServer(const XServer&) = delete;
  XServer& operator=(const XServer&) = delete;

  /// Returns once a window manager has announced what it supports. REQUIRES: `pid` is that of its process, a child.
  void waitForWindowManager(pid_t pid) const;

  // The pointer. Each returns once the server has handled it.

  void movePointer(QPoint place) const;
  void pressButton() const;
  void releaseButton() const;

  // What window manager and server report.

  /// The 32-bit values of a property; none when it is not there.
  [[nodiscard]] std::vector<std::uint32_t> property(xcb_window_t window, const char* name) const;
  [[nodiscard]] bool hasState(xcb_window_t window, const char* state) const;  ///< in _NET_WM_STATE
  [[nodiscard]] QRect geometryOf(xcb_window_t window) const;                  ///< on the screen, without a frame

  /// The box around all rows and columns of the screen in which more than `most` pixels have another colour (0xRRGGBB).
  [[nodiscard]] QRect boundsOfOtherThan(std::uint32_t colour, int most) const;
  /// The same of the rows and columns in which more than `most` pixels have this colour.
  [[nodiscard]] QRect boundsOf(std::uint32_t colour, int most) const;

  // Requests of other programs.

  /// As a taskbar asks the window manager.
  void ask(xcb_window_t window, const char* message, const std::vector<std::uint32_t>& values) const;
  void setState(xcb_window_t window, const char* state, bool isSet) const;
  /// A message that the window's own program gets.
  void sendMessage(xcb_window_t window, const char* message, std::uint32_t value) const;

  [[nodiscard]] xcb_atom_t atom(const char* name) const;

 private:
  [[nodiscard]] QRect boundsWhere(const std::function<bool(std::uint32_t)>& counts, int most) const;
  void fake(std::uint8_t type, std::uint8_t detail, QPoint place) const;
  void synchronise() const;
  void send(xcb_window_t to, std::uint32_t mask, xcb_window_t about, const char* message,
            const std::vector<std::uint32_t>& values) const;

  xcb_connection_t* connection_ = nullptr;
  xcb_window_t root_ = 0;
};

}  // namespace tolvane::test
