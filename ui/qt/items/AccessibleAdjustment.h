#pragma once
// An output slider as assistive technology sees it: a value in its range, steps, and the named action that resets it.
// QML can give an item no action of a name of its own. Window's thread; Qt owns it, and drops it with the slider.

#include <QAccessibleActionInterface>
#include <QAccessibleObject>
#include <QAccessibleValueInterface>

#include "ui/qt/items/AdjustmentArea.h"

namespace tolvane {

class AccessibleAdjustment final : public QAccessibleObject,
                                   public QAccessibleValueInterface,
                                   public QAccessibleActionInterface {
 public:
  explicit AccessibleAdjustment(AdjustmentArea* slider) : QAccessibleObject(slider) {}
  /// Applies to every AdjustmentArea from now on. May be called repeatedly.
  static void install();
  [[nodiscard]] static QString resetAction();  ///< "Reset to default"

  [[nodiscard]] QWindow* window() const override;
  [[nodiscard]] QAccessibleInterface* parent() const override;
  [[nodiscard]] QAccessibleInterface* child(int) const override { return nullptr; }
  [[nodiscard]] int childCount() const override { return 0; }
  [[nodiscard]] int indexOfChild(const QAccessibleInterface*) const override { return -1; }
  [[nodiscard]] QString text(QAccessible::Text kind) const override;
  [[nodiscard]] QRect rect() const override;
  [[nodiscard]] QAccessible::Role role() const override { return QAccessible::Slider; }
  [[nodiscard]] QAccessible::State state() const override;
  void* interface_cast(QAccessible::InterfaceType type) override;

  [[nodiscard]] QVariant currentValue() const override { return slider().value(); }
  void setCurrentValue(const QVariant& value) override { slider().setValue(value.toDouble()); }
  [[nodiscard]] QVariant maximumValue() const override { return slider().to(); }
  [[nodiscard]] QVariant minimumValue() const override { return slider().from(); }
  [[nodiscard]] QVariant minimumStepSize() const override { return slider().stepSize(); }

  [[nodiscard]] QStringList actionNames() const override;
  void doAction(const QString& name) override;
  [[nodiscard]] QStringList keyBindingsForAction(const QString&) const override { return {}; }

 private:
  [[nodiscard]] AdjustmentArea& slider() const { return *static_cast<AdjustmentArea*>(object()); }
};

}  // namespace tolvane
