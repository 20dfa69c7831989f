#include "ui/qt/window/DropModifiers.h"

#include <QDropEvent>
#include <utility>

namespace tolvane {

void DropModifiers::setWindow(QQuickWindow* window) {
  if (window == window_) return;
  if (window_) window_->removeEventFilter(this);
  window_ = window;
  if (window_) window_->installEventFilter(this);
  emit windowChanged();
}

bool DropModifiers::eventFilter(QObject* watched, QEvent* event) {
  const auto type = event->type();
  if (watched != window_ || (type != QEvent::DragEnter && type != QEvent::DragMove && type != QEvent::Drop))
    return false;
  const bool isHeld = static_cast<const QDropEvent&>(*event).modifiers().testFlag(Qt::ShiftModifier);
  if (std::exchange(isShift_, isHeld) != isHeld) emit shiftChanged();
  return false;
}

}  // namespace tolvane
