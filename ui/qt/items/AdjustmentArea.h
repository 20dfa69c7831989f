#pragma once
// The surface of an output slider: pointer, wheel, keys and assistive technology, after the rules of
// OutputAdjustmentSlider. Window's thread. It requests values and never keeps one: it shows what its owner sets.

#include <QQuickItem>

#include "ui/OutputAdjustmentSlider.h"

namespace tolvane {

class AdjustmentArea : public QQuickItem {
  Q_OBJECT
  QML_ELEMENT
  /// The value that the owner sets.
  Q_PROPERTY(double shownValue READ value WRITE show NOTIFY valueChanged FINAL)
  /// The same for assistive technology, which can set it: that requests a value, as a drag does.
  Q_PROPERTY(double value READ value WRITE setValue NOTIFY valueChanged FINAL)
  Q_PROPERTY(double from READ from WRITE setFrom NOTIFY rangeChanged FINAL)
  Q_PROPERTY(double to READ to WRITE setTo NOTIFY rangeChanged FINAL)
  Q_PROPERTY(double resetValue READ resetValue WRITE setResetValue NOTIFY rangeChanged FINAL)
  Q_PROPERTY(double thumbWidth READ thumbWidth WRITE setThumbWidth NOTIFY rangeChanged FINAL)
  Q_PROPERTY(QString accessibilityLabel MEMBER accessibilityLabel_ NOTIFY textsChanged FINAL)
  Q_PROPERTY(QString helpText MEMBER helpText_ NOTIFY textsChanged FINAL)
  Q_PROPERTY(double thumbCentre READ thumbCentre NOTIFY thumbMoved FINAL)
  /// It got the focus by keyboard, and shows that. One that was pressed takes the focus, too, without showing it.
  Q_PROPERTY(bool visualFocus READ hasVisualFocus NOTIFY visualFocusChanged FINAL)
  Q_PROPERTY(bool dragging READ isDragging NOTIFY draggingChanged FINAL)

 public:
  explicit AdjustmentArea(QQuickItem* parent = nullptr);

  [[nodiscard]] double value() const { return value_; }
  void show(double value);
  void setValue(double value);
  [[nodiscard]] double from() const { return slider_.lower; }
  void setFrom(double from);
  [[nodiscard]] double to() const { return slider_.upper; }
  void setTo(double to);
  [[nodiscard]] double resetValue() const { return slider_.resetValue; }
  void setResetValue(double value);
  [[nodiscard]] double thumbWidth() const { return slider_.thumbWidth; }
  void setThumbWidth(double width);
  [[nodiscard]] double stepSize() const { return 0.01; }
  [[nodiscard]] const QString& accessibilityLabel() const { return accessibilityLabel_; }
  [[nodiscard]] const QString& helpText() const { return helpText_; }
  [[nodiscard]] double thumbCentre() const { return slider_.thumbCentre(value_, width()); }
  [[nodiscard]] bool hasVisualFocus() const { return hasVisualFocus_; }
  [[nodiscard]] bool isDragging() const { return slider_.drag.has_value(); }

  /// One step up (+1) or down (−1).
  Q_INVOKABLE void adjust(double direction);
  Q_INVOKABLE void reset();

 signals:
  void valueChanged();
  void rangeChanged();
  void textsChanged();
  void thumbMoved();
  void visualFocusChanged();
  void draggingChanged();
  /// The user requests this value.
  void chosen(double value);

 protected:
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override;
  void mouseUngrabEvent() override;
  void wheelEvent(QWheelEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;

 private:
  void choose(double value);
  void dragTo(const QMouseEvent& event);
  void endDrag();
  void setVisualFocus(bool isVisual);

  OutputAdjustmentSlider slider_;
  QString accessibilityLabel_;
  QString helpText_;
  double value_ = 0;
  double startX_ = 0;
  bool hasVisualFocus_ = false;
};

}  // namespace tolvane
