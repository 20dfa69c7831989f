#pragma once
// A rounded, dashed frame: the place where something can be dropped.

#include <QColor>
#include <QQuickPaintedItem>

namespace tolvane {

class DashedOutline : public QQuickPaintedItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(QColor color MEMBER color_ NOTIFY changed FINAL)
  Q_PROPERTY(QColor fill MEMBER fill_ NOTIFY changed FINAL)
  Q_PROPERTY(double radius MEMBER radius_ NOTIFY changed FINAL)

 public:
  explicit DashedOutline(QQuickItem* parent = nullptr);

  void paint(QPainter* painter) override;

 signals:
  void changed();

 private:
  QColor color_;
  QColor fill_;
  double radius_ = 0;
};

}  // namespace tolvane
