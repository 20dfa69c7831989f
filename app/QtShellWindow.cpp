#include "app/QtShellWindow.h"

#include <QEvent>
#include <QSize>

namespace tolvane {

QtShellWindow::QtShellWindow(QWindow& window) : window_(&window) { window.installEventFilter(this); }

QtShellWindow::~QtShellWindow() {
  if (window_) window_->removeEventFilter(this);
}

std::optional<WindowSize> QtShellWindow::frameSize() const {
  if (!window_) return std::nullopt;
  const QSize size = window_->frameGeometry().size();
  return WindowSize{static_cast<double>(size.width()), static_cast<double>(size.height())};
}

void QtShellWindow::setContentAndMinimumSize(int width, int height) {
  if (!window_) return;
  window_->setMinimumSize(QSize(width, height));
  window_->resize(width, height);
}

void QtShellWindow::orderOut() {
  if (window_) window_->hide();
}

bool QtShellWindow::isMiniaturised() const { return window_ && window_->windowStates().testFlag(Qt::WindowMinimized); }

void QtShellWindow::deminiaturise() {
  if (window_) window_->setWindowStates(window_->windowStates() & ~Qt::WindowMinimized);
}

void QtShellWindow::makeKeyAndOrderFront(const std::string& activationToken) {
  if (!window_) return;
  // Where Qt looks for the leave to take the focus, and clears it once it has been used.
  if (!activationToken.empty()) qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(activationToken));
  window_->setVisible(true);
  window_->raise();
  window_->requestActivate();
}

bool QtShellWindow::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::Close:
      if (allowsClosing_ || !closeAction_) break;
      event->ignore();
      closeAction_();
      return true;
    case QEvent::Resize:
    case QEvent::WindowStateChange:
    case QEvent::Expose:
      if (observer_) observer_();
      break;
    default:
      break;
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace tolvane
