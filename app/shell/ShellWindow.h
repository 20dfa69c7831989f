#pragma once
// The player's window as the application delegate sees it. Window's thread; the real one is a Qt window.

#include <functional>
#include <string>

namespace tolvane {

class ShellWindow {
 public:
  virtual ~ShellWindow() = default;

  /// Points; also the smallest size that the window can be given.
  virtual void setContentAndMinimumSize(int width, int height) = 0;
  /// Called instead of closing when the user or the window manager closes the window.
  virtual void setCloseAction(std::function<void()> action) = 0;

  virtual void orderOut() = 0;
  [[nodiscard]] virtual bool isMiniaturised() const = 0;
  virtual void miniaturise() = 0;
  virtual void deminiaturise() = 0;
  /// `activationToken`: lets the window take the focus; empty when there is none.
  virtual void makeKeyAndOrderFront(const std::string& activationToken) = 0;
};

}  // namespace tolvane
