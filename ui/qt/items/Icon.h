#pragma once
// The program's own icons, drawn as paths on a 24-unit square: sharp at every scale, and without image plug-ins.

#include <QColor>
#include <QQuickPaintedItem>

namespace tolvane {

class Icon : public QQuickPaintedItem {
  Q_OBJECT
  QML_ELEMENT
  Q_PROPERTY(Shape shape READ shape WRITE setShape NOTIFY shapeChanged FINAL REQUIRED)
  Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged FINAL REQUIRED)

 public:
  enum Shape {
    Previous,
    Play,
    Pause,
    Next,
    Stop,
    Add,
    Speaker,
    ChevronDown,
    ChevronUp,
    Find,
    Save,
    Minimise,
    Zoom,
    Restore,
    Close,
    Tick,
    Warning
  };
  Q_ENUM(Shape)

  explicit Icon(QQuickItem* parent = nullptr);

  [[nodiscard]] Shape shape() const { return shape_; }
  void setShape(Shape shape);
  [[nodiscard]] QColor color() const { return color_; }
  void setColor(const QColor& color);

  void paint(QPainter* painter) override;

 signals:
  void shapeChanged();
  void colorChanged();

 private:
  Shape shape_ = Previous;
  QColor color_;
};

}  // namespace tolvane
