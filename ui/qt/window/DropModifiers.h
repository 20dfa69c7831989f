#pragma once
// Whether Shift is held while something is dragged over the window: QML's drag events do not report it. Window's
// thread.

#include <QObject>
#include <QPointer>
#include <QQuickWindow>
#include <QtQmlIntegration>

namespace tolvane {

class DropModifiers : public QObject {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QQuickWindow* window READ window WRITE setWindow NOTIFY windowChanged FINAL)
  /// As of the last event of a drag or drop, the one that is being handled included.
  Q_PROPERTY(bool shift READ isShift NOTIFY shiftChanged FINAL)

 public:
  using QObject::QObject;

  [[nodiscard]] QQuickWindow* window() const { return window_; }
  void setWindow(QQuickWindow* window);
  [[nodiscard]] bool isShift() const { return isShift_; }

  bool eventFilter(QObject* watched, QEvent* event) override;

 signals:
  void windowChanged();
  void shiftChanged();

 private:
  QPointer<QQuickWindow> window_;
  bool isShift_ = false;
};

}  // namespace tolvane
