#include "ui/qt/window/WindowMotion.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <utility>

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
    case QEvent::MouseButtonPress:
      isHandedOver_ = isReleased_ = false;
      pressed_ = static_cast<const QMouseEvent&>(*event).position();
      break;
    case QEvent::Enter:
      if (isHandedOver_) endPress(static_cast<const QEnterEvent&>(*event));
      break;
    case QEvent::MouseMove: {
      const auto& move = static_cast<const QMouseEvent&>(*event);
      if (move.buttons() == Qt::NoButton) {
        isHandedOver_ = false;
        break;
      }
      if (isReleased_) moveWithoutButtons(move);
      if (isReleased_ || isHandedOver_) return true;
      break;
    }
    case QEvent::MouseButtonRelease:
      if (isHandedOver_) endPress(static_cast<const QMouseEvent&>(*event));
      if (std::exchange(isReleased_, false)) return true;
      break;
    default:
      break;
  }
  return false;
}

/// At the position where it began, so that the window's parts see no movement.
void WindowMotion::endPress(const QSinglePointEvent& cause) {
  isHandedOver_ = false;
  QMouseEvent end(QEvent::MouseButtonRelease, pressed_, window_->mapToGlobal(pressed_), Qt::LeftButton, Qt::NoButton,
                  cause.modifiers(), cause.pointingDevice());
  QCoreApplication::sendEvent(window_, &end);
  isReleased_ = true;
}

void WindowMotion::moveWithoutButtons(const QMouseEvent& move) {
  QMouseEvent free(QEvent::MouseMove, move.position(), move.scenePosition(), move.globalPosition(), Qt::NoButton,
                   Qt::NoButton, move.modifiers(), move.pointingDevice());
  free.setTimestamp(move.timestamp());
  QCoreApplication::sendEvent(window_, &free);
}

}  // namespace tolvane
