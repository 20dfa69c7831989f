#pragma once
// The window's ground: dark, lit from the top left. Painted once a size, so it costs nothing while the music plays.

#include <QQuickPaintedItem>

namespace tolvane {

class AppBackground : public QQuickPaintedItem {
  Q_OBJECT
  QML_ELEMENT

 public:
  explicit AppBackground(QQuickItem* parent = nullptr) : QQuickPaintedItem(parent) { setOpaquePainting(true); }

  void paint(QPainter* painter) override;
};

}  // namespace tolvane
