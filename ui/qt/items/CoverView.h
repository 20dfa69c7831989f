#pragma once
// The cover of the music, or a plain symbol in its place. Painted once a picture and size (render thread, while the
// window's thread waits).

#include <QQuickPaintedItem>

#include "ui/qt/items/CoverImage.h"

namespace tolvane {

class CoverView : public QQuickPaintedItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(tolvane::CoverImage cover READ cover WRITE setCover NOTIFY coverChanged FINAL)
  /// Of its corners.
  Q_PROPERTY(double radius READ radius WRITE setRadius NOTIFY radiusChanged FINAL)

 public:
  explicit CoverView(QQuickItem* parent = nullptr) : QQuickPaintedItem(parent) { setAntialiasing(true); }

  [[nodiscard]] const CoverImage& cover() const { return cover_; }
  void setCover(const CoverImage& cover);
  [[nodiscard]] double radius() const { return radius_; }
  void setRadius(double radius);

  void paint(QPainter* painter) override;

 signals:
  void coverChanged();
  void radiusChanged();

 private:
  CoverImage cover_;
  double radius_ = 0;
};

}  // namespace tolvane
