#include "ui/qt/items/AppBackground.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

#include "ui/qt/QtConversions.h"

namespace tolvane {

namespace {

/// A round light whose centre and radius are fractions of the area.
void paintGlow(QPainter& painter, const QPainterPath& shape, QPointF centre, double radius, const ThemeColor& color) {
  QRadialGradient glow(centre, radius);
  glow.setCoordinateMode(QGradient::ObjectMode);
  glow.setColorAt(0, toQColor(color));
  glow.setColorAt(1, toQColor(color.withOpacity(0)));
  painter.fillPath(shape, glow);
}

}  // namespace

void AppBackground::setRadius(double radius) {
  if (radius == radius_) return;
  radius_ = radius;
  update();
  emit radiusChanged();
}

void AppBackground::paint(QPainter* painter) {
  const QRectF area(0, 0, width(), height());
  QPainterPath shape;
  shape.addRoundedRect(area, radius_, radius_);
  QLinearGradient ground(0, 0, 0.35, 1);
  ground.setCoordinateMode(QGradient::ObjectMode);
  ground.setColorAt(0, toQColor(Theme::wine));
  ground.setColorAt(0.45, toQColor(Theme::deepWine));
  ground.setColorAt(1, toQColor(Theme::night));
  painter->fillPath(shape, ground);
  paintGlow(*painter, shape, {0.12, -0.05}, 0.75, Theme::ember.withOpacity(0.30));
  paintGlow(*painter, shape, {1, 1.05}, 0.6, Theme::copper.withOpacity(0.14));
  if (radius_ <= 0) return;
  painter->setPen(QPen(toQColor(Theme::gold.withOpacity(0.16)), 1));
  painter->drawRoundedRect(area.adjusted(0.5, 0.5, -0.5, -0.5), radius_ - 0.5, radius_ - 0.5);
}

}  // namespace tolvane
