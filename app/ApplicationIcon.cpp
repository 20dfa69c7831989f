#include "app/ApplicationIcon.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPixmap>
#include <array>

namespace tolvane {

namespace {

constexpr double side = 128;  // the drawing's own unit, as in the installed icon
constexpr std::array barHeights{24.0, 52.0, 76.0, 40.0, 24.0};
constexpr double barWidth = 9;
constexpr double barSpacing = 15;

QPixmap painted(int size) {
  QPixmap pixmap(size, size);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(size / side, size / side);
  QLinearGradient ground(0, 0, side, side);
  ground.setColorAt(0, QColor(0x6a, 0x22, 0x1c));
  ground.setColorAt(1, QColor(0x14, 0x06, 0x05));
  painter.setPen(Qt::NoPen);
  painter.setBrush(ground);
  painter.drawRoundedRect(QRectF(6, 6, 116, 116), 28, 28);
  QLinearGradient ember(0, 24, 0, 104);
  ember.setColorAt(0, QColor(0xf0, 0xc2, 0x88));
  ember.setColorAt(1, QColor(0xef, 0x68, 0x4c));
  painter.setBrush(ember);
  for (std::size_t i = 0; i < barHeights.size(); ++i) {
    const double x = side / 2 + (static_cast<double>(i) - 2) * barSpacing;
    painter.drawRoundedRect(QRectF(x - barWidth / 2, side / 2 - barHeights[i] / 2, barWidth, barHeights[i]),
                            barWidth / 2, barWidth / 2);
  }
  return pixmap;
}

}  // namespace

QIcon applicationIcon() {
  QIcon icon;
  for (const int size : {16, 22, 24, 32, 48, 64, 128}) icon.addPixmap(painted(size));
  return icon;
}

}  // namespace tolvane
