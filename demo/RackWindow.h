#pragma once
// The demo's second window, the rack. Main thread, under a QGuiApplication.

#include <memory>

#include "demo/DemoRack.h"

class QQuickWindow;
class QWindow;

namespace tolvane {

class RackWindow {
 public:
  /// Rack and run loop outlive the window.
  RackWindow(DemoRack& rack, RunLoop& realTime);
  ~RackWindow();
  RackWindow(const RackWindow&) = delete;
  RackWindow& operator=(const RackWindow&) = delete;

  /// Opens it to the right of the other one.
  void showBeside(const QWindow& other);
  /// Null when the window could not be made; what was wrong has been logged by Qt.
  [[nodiscard]] QQuickWindow* window() const;

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace tolvane
