#include "ui/qt/items/AdjustmentArea.h"

#include <QGuiApplication>
#include <cmath>

namespace tolvane {

namespace {

constexpr double anglePerNotch = 120;  // as Qt counts it

bool isShiftHeld(Qt::KeyboardModifiers modifiers) { return modifiers.testFlag(Qt::ShiftModifier); }

/// +1, −1, or 0 for a key that is no arrow.
double directionOf(int key) {
  if (key == Qt::Key_Up || key == Qt::Key_Right) return 1;
  if (key == Qt::Key_Down || key == Qt::Key_Left) return -1;
  return 0;
}

}  // namespace

AdjustmentArea::AdjustmentArea(QQuickItem* parent) : QQuickItem(parent) {
  setAcceptedMouseButtons(Qt::LeftButton);
  setKeepMouseGrab(true);
  connect(this, &AdjustmentArea::valueChanged, this, &AdjustmentArea::thumbMoved);
  connect(this, &AdjustmentArea::rangeChanged, this, &AdjustmentArea::thumbMoved);
}

void AdjustmentArea::show(double value) {
  if (value == value_) return;
  value_ = value;
  emit valueChanged();
}

void AdjustmentArea::setValue(double value) {
  if (isEnabled() && std::isfinite(value)) choose(slider_.clamped(value));
}

void AdjustmentArea::setFrom(double from) {
  slider_.lower = from;
  emit rangeChanged();
}

void AdjustmentArea::setTo(double to) {
  slider_.upper = to;
  emit rangeChanged();
}

void AdjustmentArea::setResetValue(double value) {
  slider_.resetValue = value;
  emit rangeChanged();
}

void AdjustmentArea::setThumbWidth(double width) {
  slider_.thumbWidth = width;
  emit rangeChanged();
}

void AdjustmentArea::adjust(double direction) {
  choose(slider_.adjusted(value_, direction, isShiftHeld(QGuiApplication::keyboardModifiers())));
}

void AdjustmentArea::reset() { choose(slider_.resetValue); }

void AdjustmentArea::choose(double value) {
  if (value != value_) emit chosen(value);
}

void AdjustmentArea::dragTo(const QMouseEvent& event) {
  const bool wasDragging = isDragging();
  choose(slider_.dragChanged(startX_, event.position().x(), width(), value_, isShiftHeld(event.modifiers())));
  if (!wasDragging) emit draggingChanged();
}

void AdjustmentArea::endDrag() {
  if (!isDragging()) return;
  slider_.dragEnded();
  emit draggingChanged();
}

void AdjustmentArea::mousePressEvent(QMouseEvent* event) {
  forceActiveFocus(Qt::MouseFocusReason);
  setVisualFocus(false);
  startX_ = event->position().x();
  dragTo(*event);
}

void AdjustmentArea::mouseMoveEvent(QMouseEvent* event) {
  if (isDragging()) dragTo(*event);
}

void AdjustmentArea::mouseReleaseEvent(QMouseEvent*) { endDrag(); }

void AdjustmentArea::mouseUngrabEvent() { endDrag(); }

void AdjustmentArea::mouseDoubleClickEvent(QMouseEvent*) {
  endDrag();  // the press that came with it began one
  reset();
}

void AdjustmentArea::wheelEvent(QWheelEvent* event) {
  // With Shift or Alt some desktops turn the wheel sideways.
  const QPoint angle = event->angleDelta();
  const int turned = angle.y() != 0 ? angle.y() : angle.x();
  choose(slider_.turned(value_, turned / anglePerNotch, isShiftHeld(event->modifiers())));
  event->accept();
}

void AdjustmentArea::keyPressEvent(QKeyEvent* event) {
  const double direction = directionOf(event->key());
  event->setAccepted(direction != 0);
  if (direction != 0) choose(slider_.adjusted(value_, direction, isShiftHeld(event->modifiers())));
}

void AdjustmentArea::setVisualFocus(bool isVisual) {
  if (isVisual == hasVisualFocus_) return;
  hasVisualFocus_ = isVisual;
  emit visualFocusChanged();
}

void AdjustmentArea::focusInEvent(QFocusEvent* event) {
  QQuickItem::focusInEvent(event);
  // A window that becomes active again shows the same as before.
  if (event->reason() != Qt::ActiveWindowFocusReason) setVisualFocus(event->reason() != Qt::MouseFocusReason);
}

void AdjustmentArea::focusOutEvent(QFocusEvent* event) {
  QQuickItem::focusOutEvent(event);
  if (event->reason() != Qt::ActiveWindowFocusReason) setVisualFocus(false);
}

void AdjustmentArea::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
  QQuickItem::geometryChange(newGeometry, oldGeometry);
  emit thumbMoved();
}

}  // namespace tolvane
