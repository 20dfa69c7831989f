#include "app/QtShellWindow.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QSize>
#include <QTimer>
#include <algorithm>
#include <chrono>

namespace tolvane {

namespace {

/// Wayland: a toolkit that still waited for a frame of the window when it was hidden waits on when it is shown again, draws
/// nothing, and so is never answered (seen with Qt 6.4). Shown once more, it draws.
constexpr std::chrono::milliseconds timeToBeExposed{300};
constexpr int mostShowings = 3;

bool isOnAScreen(const QRect& window) {
  const auto screens = QGuiApplication::screens();
  return std::ranges::any_of(screens, [&](const QScreen* screen) { return screen->geometry().intersects(window); });
}

}  // namespace

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
  // Where Qt looks for the leave to take the focus, and clears it once it has been used.
  if (!activationToken.empty()) qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(activationToken));
  if (!window_->isVisible()) {
    isComingBack_ = true;
    // One that asks for no place is put where the window manager likes; one whose screen has gone is left to it.
    if (place_ && isOnAScreen(QRect(*place_, window_->size()))) window_->setPosition(*place_);
    if (QGuiApplication::platformName().startsWith("wayland")) showAgainUnlessExposed(mostShowings);
  }
  window_->setVisible(true);
  window_->raise();
  window_->requestActivate();
}

void QtShellWindow::showAgainUnlessExposed(int tries) {
  QTimer::singleShot(timeToBeExposed, this, [this, tries] {
    if (!window_ || !window_->isVisible() || window_->isExposed()) return;
    window_->hide();
    window_->show();
    if (tries > 1) showAgainUnlessExposed(tries - 1);
  });
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
