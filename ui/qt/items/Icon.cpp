#include "ui/qt/items/Icon.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace tolvane {

namespace {

constexpr double unit = 24;

QPainterPath polygon(std::initializer_list<QPointF> points) {
  QPainterPath path;
  path.addPolygon(QPolygonF(QList<QPointF>(points)));
  path.closeSubpath();
  return path;
}

/// The triangle of previous, next and play leans towards `direction` (−1 left, 1 right).
void paintSkip(QPainter& painter, double direction) {
  const double x = 12 - direction * 1;
  painter.drawPath(polygon({{x - direction * 5, 5.5}, {x + direction * 4.5, 12}, {x - direction * 5, 18.5}}));
  painter.drawLine(QPointF(12 + direction * 6.5, 5.5), QPointF(12 + direction * 6.5, 18.5));
}

void paintSpeaker(QPainter& painter) {
  painter.drawPath(polygon({{4, 9.5}, {7.5, 9.5}, {12, 5.5}, {12, 18.5}, {7.5, 14.5}, {4, 14.5}}));
  painter.setBrush(Qt::NoBrush);
  painter.drawArc(QRectF(9.5, 8, 8, 8), -55 * 16, 110 * 16);
  painter.drawArc(QRectF(8.5, 4.5, 13, 15), -50 * 16, 100 * 16);
}

void paintWarning(QPainter& painter) {
  painter.setBrush(Qt::NoBrush);
  painter.drawPath(polygon({{12, 3.5}, {22, 20.5}, {2, 20.5}}));
  painter.drawLine(QPointF(12, 9.5), QPointF(12, 14));
  painter.drawPoint(QPointF(12, 17.3));
}

/// An arrow down into a tray.
void paintSave(QPainter& painter, QPen pen) {
  pen.setWidthF(2.6);
  painter.setPen(pen);
  painter.setBrush(Qt::NoBrush);
  painter.drawLine(QPointF(12, 3.5), QPointF(12, 14));
  painter.drawPolyline(QPolygonF({{7, 9.5}, {12, 14.5}, {17, 9.5}}));
  painter.drawPolyline(QPolygonF({{3.5, 15}, {3.5, 20.5}, {20.5, 20.5}, {20.5, 15}}));
}

void paintWindowSign(QPainter& painter, QPen pen, Icon::Shape shape) {
  pen.setWidthF(2.4);
  painter.setPen(pen);
  painter.setBrush(Qt::NoBrush);
  switch (shape) {
    case Icon::Minimise:
      return painter.drawLine(QPointF(5, 12), QPointF(19, 12));
    case Icon::Zoom:
      return painter.drawRect(QRectF(5.5, 5.5, 13, 13));
    case Icon::Restore:
      painter.drawRect(QRectF(4.5, 8.5, 11, 11));
      return painter.drawPolyline(QPolygonF({{9, 4.5}, {19.5, 4.5}, {19.5, 15}}));
    default:
      painter.drawLine(QPointF(6, 6), QPointF(18, 18));
      return painter.drawLine(QPointF(18, 6), QPointF(6, 18));
  }
}

}  // namespace

Icon::Icon(QQuickItem* parent) : QQuickPaintedItem(parent) { setAntialiasing(true); }

void Icon::setShape(Shape shape) {
  if (shape == shape_) return;
  shape_ = shape;
  update();
  emit shapeChanged();
}

void Icon::setColor(const QColor& color) {
  if (color == color_) return;
  color_ = color;
  update();
  emit colorChanged();
}

void Icon::paint(QPainter* painter) {
  const double scale = std::min(width(), height()) / unit;
  painter->translate((width() - unit * scale) / 2, (height() - unit * scale) / 2);
  painter->scale(scale, scale);
  QPen pen(color_, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
  painter->setPen(pen);
  painter->setBrush(color_);
  switch (shape_) {
    case Previous:
      return paintSkip(*painter, -1);
    case Next:
      return paintSkip(*painter, 1);
    case Play:
      return painter->drawPath(polygon({{7.5, 4.5}, {19.5, 12}, {7.5, 19.5}}));
    case Pause:
      painter->setPen(Qt::NoPen);
      painter->drawRoundedRect(QRectF(5.5, 4, 4.2, 16), 1.6, 1.6);
      painter->drawRoundedRect(QRectF(14.3, 4, 4.2, 16), 1.6, 1.6);
      return;
    case Stop:
      painter->setPen(Qt::NoPen);
      return painter->drawRoundedRect(QRectF(5, 5, 14, 14), 3, 3);
    case Add:
      pen.setWidthF(2.6);
      painter->setPen(pen);
      painter->drawLine(QPointF(4, 12), QPointF(20, 12));
      return painter->drawLine(QPointF(12, 4), QPointF(12, 20));
    case Speaker:
      return paintSpeaker(*painter);
    case ChevronDown:
      pen.setWidthF(2.6);
      painter->setPen(pen);
      painter->setBrush(Qt::NoBrush);
      return painter->drawPolyline(QPolygonF({{5.5, 9}, {12, 15.5}, {18.5, 9}}));
    case ChevronUp:
      pen.setWidthF(2.6);
      painter->setPen(pen);
      painter->setBrush(Qt::NoBrush);
      return painter->drawPolyline(QPolygonF({{5.5, 15.5}, {12, 9}, {18.5, 15.5}}));
    case Find:
      pen.setWidthF(2.6);
      painter->setPen(pen);
      painter->setBrush(Qt::NoBrush);
      painter->drawEllipse(QRectF(3.5, 3.5, 13, 13));
      return painter->drawLine(QPointF(15, 15), QPointF(20.5, 20.5));
    case Save:
      return paintSave(*painter, pen);
    case Tick:
      pen.setWidthF(3.4);
      painter->setPen(pen);
      painter->setBrush(Qt::NoBrush);
      return painter->drawPolyline(QPolygonF({{4.5, 12.5}, {10, 18}, {19.5, 6.5}}));
    case Warning:
      return paintWarning(*painter);
    case Minimise:
    case Zoom:
    case Restore:
    case Close:
      return paintWindowSign(*painter, pen, shape_);
  }
}

}  // namespace tolvane
