#include "ui/qt/items/Logo.h"

#include <QSvgRenderer>

namespace tolvane {

void paintLogo(QPainter& painter, const QRectF& square) {
  QSvgRenderer drawing(QStringLiteral(":/qt/qml/Tolvane/logo.svg"));
  drawing.render(&painter, square);
}

}  // namespace tolvane
