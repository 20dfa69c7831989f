#include "ui/qt/AppBackground.h"

#include <QLinearGradient>
#include <QPainter>
#include <QRadialGradient>

#include "ui/qt/QtConversions.h"

namespace tolvane {

namespace {

/// A round light whose centre and radius are fractions of the area.
void paintGlow(QPainter& painter, const QRectF& area, QPointF centre, double radius, const ThemeColor& color) {
  QRadialGradient glow(centre, radius);
  glow.setCoordinateMode(QGradient::ObjectMode);
  glow.setColorAt(0, toQColor(color));
  glow.setColorAt(1, toQColor(color.withOpacity(0)));
  painter.fillRect(area, glow);
}

}  // namespace

void AppBackground::paint(QPainter* painter) {
  const QRectF area(0, 0, width(), height());
  QLinearGradient ground(0, 0, 0.35, 1);
  ground.setCoordinateMode(QGradient::ObjectMode);
  ground.setColorAt(0, toQColor(Theme::wine));
  ground.setColorAt(0.45, toQColor(Theme::deepWine));
  ground.setColorAt(1, toQColor(Theme::night));
  painter->fillRect(area, ground);
  paintGlow(*painter, area, {0.12, -0.05}, 0.75, Theme::ember.withOpacity(0.30));
  paintGlow(*painter, area, {1, 1.05}, 0.6, Theme::copper.withOpacity(0.14));
}

}  // namespace tolvane
