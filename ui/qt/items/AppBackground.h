#pragma once
// The window's background: dark, lit from the top left. Painted once per size, so it costs nothing during playback.

#include <QQuickPaintedItem>

namespace tolvane {

class AppBackground : public QQuickPaintedItem {
  Q_OBJECT
  QML_ELEMENT
  /// Of the window's corners.
  Q_PROPERTY(double radius READ radius WRITE setRadius NOTIFY radiusChanged FINAL)

 public:
  explicit AppBackground(QQuickItem* parent = nullptr) : QQuickPaintedItem(parent) { setAntialiasing(true); }

  [[nodiscard]] double radius() const { return radius_; }
  void setRadius(double radius);

  void paint(QPainter* painter) override;

 signals:
  void radiusChanged();

 private:
  double radius_ = 0;
};

}  // namespace tolvane
