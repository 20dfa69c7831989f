#pragma once
// Moves and resizes of a window that the window manager carries out. It takes the pointer over and with it the release
// of the button. On X11 Qt makes the release up once the pointer is back: with a move before it, as if the button were
// still held. On Wayland it does not: the pointer enters the window again, and Qt has the button pressed until the next
// click (seen with 6.4). The window's parts get one release, and no move with a button that is not held: one of them
// would begin a drag of its own, and none would light up under the pointer. Window's thread.

#include <QObject>
#include <QPointer>
#include <QQuickWindow>
#include <QtQmlIntegration>

class QMouseEvent;
class QSinglePointEvent;

namespace tolvane {

class WindowMotion : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QQuickWindow* window READ window WRITE setWindow NOTIFY windowChanged FINAL)

 public:
  using QObject::QObject;

  [[nodiscard]] QQuickWindow* window() const { return window_; }
  void setWindow(QQuickWindow* window);

  /// From within the handling of a press or of a drag; once a press.
  Q_INVOKABLE void startMove();
  Q_INVOKABLE void startResize(int edges);

  bool eventFilter(QObject* watched, QEvent* event) override;

 signals:
  void windowChanged();

 private:
  void endPress(const QSinglePointEvent& cause);
  void moveWithoutButtons(const QMouseEvent& move);

  QPointer<QQuickWindow> window_;
  QPointF pressed_;            // where, in the window
  bool isHandedOver_ = false;  // from the start of a move until the button is known to be released
  bool isReleased_ = false;    // the parts have their release, whatever Qt still makes of the button
};

}  // namespace tolvane
