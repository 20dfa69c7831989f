#include "ui/qt/items/CoverView.h"

#include <QPainter>
#include <QQuickWindow>
#include <array>

#include "ui/qt/QtConversions.h"

namespace tolvane {

namespace {

/// Bars as in the program's mark.
void paintBars(QPainter& painter, const QRectF& area) {
  constexpr std::array heights = {0.26, 0.5, 0.84, 1.0, 0.62, 0.4, 0.22};
  const double pitch = area.width() / static_cast<double>(heights.size());
  const double width = pitch * 0.44;
  painter.setPen(Qt::NoPen);
  painter.setBrush(toQColor(Theme::gold.withOpacity(0.3)));
  double x = area.left() + (pitch - width) / 2;
  for (const double height : heights) {
    const double length = area.height() * height;
    painter.drawRoundedRect(QRectF(x, area.center().y() - length / 2, width, length), width / 2, width / 2);
    x += pitch;
  }
}

void paintGround(QPainter& painter, const QRectF& area, double radius) {
  painter.setPen(Qt::NoPen);
  painter.setBrush(toQColor(Theme::raisedPanel.withOpacity(0.62)));
  painter.drawRoundedRect(area, radius, radius);
}

/// Without a picture.
void paintSign(QPainter& painter, const QRectF& area) {
  const double edge = area.width() * 0.4;
  paintBars(painter, {area.center().x() - edge / 2, area.center().y() - edge * 0.36, edge, edge * 0.72});
}

/// The whole picture in the middle of the area. Scaled to the screen's own pixels, as only that is sharp.
void paintPicture(QPainter& painter, const QImage& picture, const QRectF& area, double radius, double ratio) {
  const QSize pixels = (area.size() * ratio).toSize();
  const QImage scaled = picture.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
  QRectF place({}, QSizeF(scaled.size()) / ratio);
  place.moveCenter(area.center());
  QBrush brush(scaled);
  brush.setTransform(QTransform::fromTranslate(place.x(), place.y()).scale(1 / ratio, 1 / ratio));
  painter.setPen(Qt::NoPen);
  painter.setBrush(brush);
  const bool isSquare = pixels == scaled.size();
  isSquare ? painter.drawRoundedRect(place, radius, radius) : painter.drawRect(place);
}

}  // namespace

void CoverView::setCover(const CoverImage& cover) {
  if (cover == cover_) return;
  cover_ = cover;
  update();
  emit coverChanged();
}

void CoverView::setRadius(double radius) {
  if (radius == radius_) return;
  radius_ = radius;
  update();
  emit radiusChanged();
}

void CoverView::paint(QPainter* painter) {
  const QRectF area = boundingRect();
  if (area.isEmpty()) return;
  paintGround(*painter, area, radius_);
  if (cover_.isAvailable())
    paintPicture(*painter, cover_.image, area, radius_, window()->effectiveDevicePixelRatio());
  else
    paintSign(*painter, area);
  painter->setBrush(Qt::NoBrush);
  painter->setPen(QPen(toQColor(Theme::gold.withOpacity(0.14)), 1));
  painter->drawRoundedRect(area.adjusted(0.5, 0.5, -0.5, -0.5), radius_ - 0.5, radius_ - 0.5);
}

}  // namespace tolvane
