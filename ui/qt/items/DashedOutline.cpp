#include "ui/qt/items/DashedOutline.h"

#include <QPainter>

namespace tolvane {

DashedOutline::DashedOutline(QQuickItem* parent) : QQuickPaintedItem(parent) {
  setAntialiasing(true);
  connect(this, &DashedOutline::changed, this, [this] { update(); });
}

void DashedOutline::paint(QPainter* painter) {
  QPen pen(color_, 1);
  pen.setDashPattern({5, 6});
  painter->setPen(pen);
  painter->setBrush(fill_);
  painter->drawRoundedRect(QRectF(0.5, 0.5, width() - 1, height() - 1), radius_, radius_);
}

}  // namespace tolvane
