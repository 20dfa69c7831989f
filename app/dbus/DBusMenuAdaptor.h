#pragma once
// A flat menu on the bus (com.canonical.dbusmenu), drawn by the desktop's panel. Window's thread. Its shape is fixed: 0
// is the menu, 1 … n its lines; what a line says may change.

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <functional>
#include <vector>

#include "app/dbus/DBusMenuTypes.h"
#include "app/shell/MenuItem.h"

namespace tolvane {

class DBusMenuAdaptor final : public QDBusAbstractAdaptor {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
  Q_PROPERTY(uint Version READ version CONSTANT)
  Q_PROPERTY(QString TextDirection READ textDirection CONSTANT)
  Q_PROPERTY(QString Status READ status CONSTANT)
  Q_PROPERTY(QStringList IconThemePath READ iconThemePath CONSTANT)

 public:
  DBusMenuAdaptor(QObject* parent, const QDBusConnection& bus, std::function<void(ShellAction)> perform);

  /// Notifies the panel of the lines that have changed.
  void setItems(std::vector<MenuItem> items);

  [[nodiscard]] uint version() const { return 3; }
  [[nodiscard]] QString textDirection() const { return QStringLiteral("ltr"); }
  [[nodiscard]] QString status() const { return QStringLiteral("normal"); }
  [[nodiscard]] QStringList iconThemePath() const { return {}; }

 public slots:  // NOLINT(readability-redundant-access-specifiers): named as on the bus
  uint GetLayout(int parentId, int recursionDepth, const QStringList& propertyNames, const QDBusMessage& call,
                 tolvane::DBusMenuLayout& layout);
  QList<tolvane::DBusMenuItem> GetGroupProperties(const QList<int>& ids, const QStringList& propertyNames);
  QDBusVariant GetProperty(int id, const QString& name, const QDBusMessage& call);
  void Event(int id, const QString& eventId, const QDBusVariant& data, uint timestamp, const QDBusMessage& call);
  QList<int> EventGroup(const QList<tolvane::DBusMenuEvent>& events);
  bool AboutToShow(int id, const QDBusMessage& call);
  QList<int> AboutToShowGroup(const QList<int>& ids, QList<int>& idErrors);

 signals:
  void ItemsPropertiesUpdated(const QList<tolvane::DBusMenuItem>& updatedProps,
                              const QList<tolvane::DBusMenuItemKeys>& removedProps);
  void LayoutUpdated(uint revision, int parent);
  void ItemActivationRequested(int id, uint timestamp);

 private:
  [[nodiscard]] const MenuItem* item(int id) const;
  [[nodiscard]] bool exists(int id) const { return id == 0 || item(id) != nullptr; }
  [[nodiscard]] QVariantMap properties(int id, const QStringList& names) const;
  void activate(int id);
  void refuse(const QDBusMessage& call) const;

  QDBusConnection bus_;
  const std::function<void(ShellAction)> perform_;
  std::vector<MenuItem> items_;
  uint revision_ = 1;
};

/// A line in the form of the bus: only the properties that differ from the protocol's defaults.
[[nodiscard]] QVariantMap menuItemProperties(const MenuItem& item);

}  // namespace tolvane
