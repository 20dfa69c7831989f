#pragma once
// The demo's second window, the rack. Window's thread, under a QGuiApplication.

#include <QRect>
#include <memory>

#include "demo/DemoRack.h"

class QQuickWindow;
class QWindow;

namespace tolvane {

/// Where a window of this size stands beside another: to the right, else to the left, else at the screen's right edge;
/// all of it on the screen where it fits.
[[nodiscard]] QPoint placeBeside(const QRect& other, QSize size, const QRect& screen);

class RackWindow {
 public:
  /// Rack and run loop outlive the window.
  RackWindow(DemoRack& rack, RunLoop& realTime);
  ~RackWindow();
  RackWindow(const RackWindow&) = delete;
  RackWindow& operator=(const RackWindow&) = delete;

  /// Opens it beside the other one, once that is on the screen. The other one outlives this.
  void showBeside(QWindow& other);
  /// Null if the window could not be made; Qt has logged the reason.
  [[nodiscard]] QQuickWindow* window() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
