#include "ui/qt/items/Logo.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

namespace tolvane {
namespace {

TEST(Logo, IsFiveBarsOnADarkGroundWithRoundCorners) {
  constexpr int side = 128;
  QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  paintLogo(painter, image.rect());
  painter.end();
  EXPECT_EQ(image.pixelColor(1, 1).alpha(), 0);
  EXPECT_EQ(image.pixelColor(126, 126).alpha(), 0);
  int bars = 0;
  bool wasBar = false;
  for (int x = 10; x < 118; ++x) {
    const QColor color = image.pixelColor(x, side / 2);
    const bool isBar = color.red() > 200;
    EXPECT_EQ(color.alpha(), 255) << x;
    if (isBar && !wasBar) ++bars;
    wasBar = isBar;
  }
  EXPECT_EQ(bars, 5);
}

}  // namespace
}  // namespace tolvane
