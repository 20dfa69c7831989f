#include "app/QtShellWindow.h"

#include <QEvent>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QScreen>
#include <QSize>
#include <algorithm>

namespace tolvane {

namespace {

bool isOnAScreen(const QRect& window) {
  const auto screens = QGuiApplication::screens();
  return std::ranges::any_of(screens, [&](const QScreen* screen) { return screen->geometry().intersects(window); });
}

}  // namespace

QtShellWindow::QtShellWindow(QWindow& window) : window_(&window) {
  window.installEventFilter(this);
  // On Wayland hiding ends the surface that is drawn on. Qt's graphics, if kept, are not bound to the next one: the
  // first swap fails (EGL_BAD_SURFACE), and the window that is shown again never appears (seen with Qt 6.4).
  auto* const quick = qobject_cast<QQuickWindow*>(&window);
  if (quick == nullptr || !QGuiApplication::platformName().startsWith("wayland")) return;
  quick->setPersistentSceneGraph(false);
  quick->setPersistentGraphics(false);
}

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
  if (!window_) return;
  if (window_->isVisible()) place_ = window_->position();
  window_->hide();
}

bool QtShellWindow::isMiniaturised() const { return window_ && window_->windowStates().testFlag(Qt::WindowMinimized); }

void QtShellWindow::miniaturise() {
  if (window_) window_->showMinimized();
}

void QtShellWindow::deminiaturise() {
  if (window_) window_->setWindowStates(window_->windowStates() & ~Qt::WindowMinimized);
}

void QtShellWindow::makeKeyAndOrderFront(const std::string& activationToken) {
  if (!window_) return;
  // Qt reads the activation token from here, and clears it once it has been used.
  if (!activationToken.empty()) qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(activationToken));
  if (!window_->isVisible()) {
    isComingBack_ = true;
    // Without a position the window manager chooses one, as it does for a window whose screen has gone.
    if (place_ && isOnAScreen(QRect(*place_, window_->size()))) window_->setPosition(*place_);
  }
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
    case QEvent::WindowStateChange:
      // X11: Qt leaves the hint on a window to begin minimised where it once was, and window managers follow it.
      if (isComingBack_ && isMiniaturised()) {
        deminiaturise();
        window_->requestActivate();
      }
      if (observer_) observer_();
      break;
    case QEvent::Expose:
      if (window_ && window_->isExposed()) isComingBack_ = false;
      if (observer_) observer_();
      break;
    case QEvent::Resize:
      if (observer_) observer_();
      break;
    default:
      break;
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace tolvane
