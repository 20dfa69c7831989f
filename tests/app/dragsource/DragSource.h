#pragma once
// A drag from another program's window, that of drag_source, into the player's, by a pointer.

#include <QPoint>
#include <QQuickWindow>
#include <functional>
#include <vector>

#include "platform/FileURL.h"
#include "tests/app/dragsource/SourceWindow.h"
#include "tests/app/windowmanagers/XServer.h"
#include "tests/support/ChildProcess.h"

namespace tolvane::test {

class DragSource {
 public:
  using WaitFor = std::function<bool(const std::function<bool()>&)>;

  /// Starts the program, which offers these files.
  DragSource(const XServer& server, const std::vector<FileURL>& files);

  /// Its window, in pixels of the screen; empty as long as it is not there.
  [[nodiscard]] QRect bounds() const { return server_.boundsOf(source::colour, source::side / 2); }
  /// Takes the files and moves them over the player's window, to this place on the screen, until that window has
  /// noticed them there. Whether it did. The button stays pressed.
  [[nodiscard]] bool dragTo(QPoint target, QQuickWindow& player, const WaitFor& waitFor) const;

 private:
  const XServer& server_;
  ChildProcess program_;
};

}  // namespace tolvane::test
