#pragma once
// The records of com.canonical.dbusmenu on the bus. Values.

#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QMetaType>
#include <QStringList>
#include <QVariantMap>

namespace tolvane {

struct DBusMenuItem {  ///< (ia{sv})
  int id = 0;
  QVariantMap properties;
};

struct DBusMenuLayout {  ///< (ia{sv}av), children included
  int id = 0;
  QVariantMap properties;
  QList<DBusMenuLayout> children;
};

struct DBusMenuItemKeys {  ///< (ias)
  int id = 0;
  QStringList properties;
};

struct DBusMenuEvent {  ///< (isvu)
  int id = 0;
  QString eventId;
  QDBusVariant data;
  uint timestamp = 0;
};

QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuItem& item);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuItem& item);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuLayout& layout);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuLayout& layout);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuItemKeys& keys);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuItemKeys& keys);
QDBusArgument& operator<<(QDBusArgument& argument, const DBusMenuEvent& event);
const QDBusArgument& operator>>(const QDBusArgument& argument, DBusMenuEvent& event);

/// Once before any of them crosses the bus.
void registerDBusMenuTypes();

}  // namespace tolvane

Q_DECLARE_METATYPE(tolvane::DBusMenuItem)
Q_DECLARE_METATYPE(tolvane::DBusMenuLayout)
Q_DECLARE_METATYPE(tolvane::DBusMenuItemKeys)
Q_DECLARE_METATYPE(tolvane::DBusMenuEvent)
