#pragma once
// The program's mark, from the one drawing that is also installed as its icon. Window's thread (the item: render
// thread, while the window's thread waits).

#include <QQuickPaintedItem>

namespace tolvane {

/// Fills the square.
void paintLogo(QPainter& painter, const QRectF& square);

class Logo : public QQuickPaintedItem {
  Q_OBJECT
  QML_ELEMENT

 public:
  explicit Logo(QQuickItem* parent = nullptr) : QQuickPaintedItem(parent) {}

  void paint(QPainter* painter) override { paintLogo(*painter, boundingRect()); }
};

}  // namespace tolvane
