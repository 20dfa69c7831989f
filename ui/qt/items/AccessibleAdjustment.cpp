#include "ui/qt/items/AccessibleAdjustment.h"

#include <QQuickWindow>

namespace tolvane {

namespace {

QAccessibleInterface* makeInterface(const QString& className, QObject* object) {
  // Called for the class of an object and for each of its bases; only one of them matches.
  if (className != QLatin1String(AdjustmentArea::staticMetaObject.className())) return nullptr;
  return new AccessibleAdjustment(qobject_cast<AdjustmentArea*>(object));
}

}  // namespace

void AccessibleAdjustment::install() { QAccessible::installFactory(makeInterface); }

QString AccessibleAdjustment::resetAction() { return AdjustmentArea::tr("Reset to default"); }

QWindow* AccessibleAdjustment::window() const { return slider().window(); }

QAccessibleInterface* AccessibleAdjustment::parent() const {
  // Assistive technology does not see items that only arrange others. The window is the parent of all.
  for (QQuickItem* item = slider().parentItem(); item != nullptr; item = item->parentItem()) {
    if (auto* found = QAccessible::queryAccessibleInterface(item)) return found;
  }
  return QAccessible::queryAccessibleInterface(slider().window());
}

QString AccessibleAdjustment::text(QAccessible::Text kind) const {
  switch (kind) {
    case QAccessible::Name:
      return slider().accessibilityLabel();
    case QAccessible::Description:
    case QAccessible::Help:
      return slider().helpText();
    default:
      return {};
  }
}

QRect AccessibleAdjustment::rect() const {
  const QQuickWindow* shown = slider().window();
  if (shown == nullptr) return {};
  const QRect inWindow = slider().mapRectToScene({0, 0, slider().width(), slider().height()}).toAlignedRect();
  return {shown->mapToGlobal(inWindow.topLeft()), inWindow.size()};
}

QAccessible::State AccessibleAdjustment::state() const {
  const QQuickWindow* shown = slider().window();
  QAccessible::State state;
  state.focusable = true;
  state.focused = slider().hasActiveFocus();
  state.disabled = !slider().isEnabled();
  state.invisible = !slider().isVisible() || shown == nullptr || !shown->isVisible();
  return state;
}

void* AccessibleAdjustment::interface_cast(QAccessible::InterfaceType type) {
  if (type == QAccessible::ValueInterface) return static_cast<QAccessibleValueInterface*>(this);
  if (type == QAccessible::ActionInterface) return static_cast<QAccessibleActionInterface*>(this);
  return QAccessibleObject::interface_cast(type);
}

QStringList AccessibleAdjustment::actionNames() const {
  if (!slider().isEnabled()) return {};
  return {increaseAction(), decreaseAction(), resetAction(), setFocusAction()};
}

void AccessibleAdjustment::doAction(const QString& name) {
  if (!actionNames().contains(name)) return;
  if (name == increaseAction()) {
    slider().adjust(1);
  } else if (name == decreaseAction()) {
    slider().adjust(-1);
  } else if (name == resetAction()) {
    slider().reset();
  } else {
    slider().forceActiveFocus();
  }
}

}  // namespace tolvane
