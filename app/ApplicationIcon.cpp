#include "app/ApplicationIcon.h"

#include <QPainter>
#include <QPixmap>

#include "ui/qt/items/Logo.h"

namespace tolvane {

QIcon applicationIcon() {
  QIcon icon;
  for (const int size : {16, 22, 24, 32, 48, 64, 128}) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    paintLogo(painter, pixmap.rect());
    painter.end();
    icon.addPixmap(pixmap);
  }
  return icon;
}

}  // namespace tolvane
