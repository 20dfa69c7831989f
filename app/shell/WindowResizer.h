#pragma once
// Keeps the recorded size in step with the window's frame. Window's thread; acts in a later turn, once the window has
// its new size. Half a point is rounding of the layout and is not worth a write.

#include <functional>
#include <optional>

#include "app/shell/WindowSize.h"
#include "platform/RunLoop.h"
#include "platform/WeakSelf.h"

namespace tolvane {

class WindowResizer {
 public:
  /// The window's frame as it is; nothing while there is no window.
  using Frame = std::function<std::optional<WindowSize>()>;

  /// Run loop and defaults outlive the resizer. `onWindowAvailable` is called each time that the window is found.
  WindowResizer(RunLoop& runLoop, UserDefaults& defaults, Frame frame, std::function<void()> onWindowAvailable);
  WindowResizer(const WindowResizer&) = delete;
  WindowResizer& operator=(const WindowResizer&) = delete;
  ~WindowResizer() = default;

  /// The window has been made: its size is taken over and not saved.
  void make();
  /// The window may have changed.
  void update();

  [[nodiscard]] const WindowSize& size() const { return size_; }

 private:
  void adoptFrame();
  void followFrame();

  RunLoop& runLoop_;
  UserDefaults& defaults_;
  const Frame frame_;
  const std::function<void()> onWindowAvailable_;
  WindowSize size_;
  WeakSelf<WindowResizer> self_;
};

}  // namespace tolvane
