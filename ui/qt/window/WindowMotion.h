#pragma once
// Moves and resizes of a window that the window manager carries out. It takes the pointer over and with it the release
// of the button, which Qt makes up once the pointer is back: with a move before it, as if the button were still held.
// Such moves are kept from the window's parts, of which one would otherwise begin a drag of its own. Window's thread.

#include <QObject>
#include <QPointer>
#include <QQuickWindow>
#include <QtQmlIntegration>

class QMouseEvent;

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
  void endPress(const QMouseEvent& release);

  QPointer<QQuickWindow> window_;
  QPointF pressed_;            // where, in the window
  bool isHandedOver_ = false;  // from the start of a move until the button is known to be released
};

}  // namespace tolvane
