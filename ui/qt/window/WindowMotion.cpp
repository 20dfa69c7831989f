#include "ui/qt/window/WindowMotion.h"

#include <QCoreApplication>
#include <QMouseEvent>

namespace tolvane {

void WindowMotion::setWindow(QQuickWindow* window) {
  if (window == window_) return;
  if (window_) window_->removeEventFilter(this);
  window_ = window;
  if (window_) window_->installEventFilter(this);
  emit windowChanged();
}

void WindowMotion::startMove() {
  if (window_ && !isHandedOver_) isHandedOver_ = window_->startSystemMove();
}

void WindowMotion::startResize(int edges) {
  if (window_ && !isHandedOver_) isHandedOver_ = window_->startSystemResize(Qt::Edges(edges));
}

bool WindowMotion::eventFilter(QObject* watched, QEvent* event) {
  if (watched != window_) return false;
  switch (event->type()) {
    case QEvent::MouseButtonPress: {
      const auto& press = static_cast<const QMouseEvent&>(*event);
      isHandedOver_ = false;
      pressed_ = press.position();
      break;
    }
    case QEvent::MouseMove:
      if (!isHandedOver_) break;
      if (static_cast<const QMouseEvent&>(*event).buttons() != Qt::NoButton) return true;
      isHandedOver_ = false;
      break;
    case QEvent::MouseButtonRelease:
      if (!isHandedOver_) break;
      isHandedOver_ = false;
      endPress(static_cast<const QMouseEvent&>(*event));
      return true;
    default:
      break;
  }
  return false;
}

/// Where it began: for the window's parts the pointer has not moved.
void WindowMotion::endPress(const QMouseEvent& release) {
  QMouseEvent end(QEvent::MouseButtonRelease, pressed_, window_->mapToGlobal(pressed_), release.button(),
                  release.buttons(), release.modifiers(), release.pointingDevice());
  QCoreApplication::sendEvent(window_, &end);
}

}  // namespace tolvane
