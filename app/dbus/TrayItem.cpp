#include "app/dbus/TrayItem.h"

#include <unistd.h>

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>
#include <utility>

#include "app/dbus/DBusMenuAdaptor.h"
#include "app/dbus/StatusNotifierAdaptor.h"

namespace tolvane {

namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString itemPath = QStringLiteral("/StatusNotifierItem");
const QString menuPath = QStringLiteral("/StatusNotifierItem/Menu");

}  // namespace

struct TrayItem::Implementation {
  Implementation(const QDBusConnection& connection, const ApplicationIdentity& identity, const QIcon& icon,
                 const std::function<void(ShellAction)>& perform)
      : bus(connection),
        name(QStringLiteral("org.kde.StatusNotifierItem-%1-1").arg(::getpid())),
        item(&itemObject, identity, icon, perform),
        menu(&menuObject, bus, perform) {}

  /// Does not wait for the reply: a tray that hangs must not block the player.
  void announce() {
    auto call = QDBusMessage::createMethodCall(watcherName, QStringLiteral("/StatusNotifierWatcher"), watcherName,
                                               QStringLiteral("RegisterStatusNotifierItem"));
    call.setAutoStartService(false);
    call << name;
    bus.send(call);
  }

  QDBusConnection bus;
  QString name;
  QObject itemObject;
  QObject menuObject;
  StatusNotifierAdaptor item;
  DBusMenuAdaptor menu;
  QDBusServiceWatcher watcher;
};

TrayItem::TrayItem(const QDBusConnection& bus, const ApplicationIdentity& identity, const QIcon& icon,
                   std::function<void(ShellAction)> perform)
    : implementation_(std::make_unique<Implementation>(bus, identity, icon, perform)) {
  auto& made = *implementation_;
  if (!made.bus.isConnected()) return;
  made.bus.registerObject(itemPath, &made.itemObject, QDBusConnection::ExportAdaptors);
  made.bus.registerObject(menuPath, &made.menuObject, QDBusConnection::ExportAdaptors);
  made.bus.registerService(made.name);
  made.watcher.setConnection(made.bus);
  made.watcher.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
  made.watcher.addWatchedService(watcherName);
  QObject::connect(&made.watcher, &QDBusServiceWatcher::serviceRegistered, &made.itemObject,
                   [held = &made] { held->announce(); });
  made.announce();
}

TrayItem::~TrayItem() {
  auto& made = *implementation_;
  if (!made.bus.isConnected()) return;
  made.bus.unregisterService(made.name);
  made.bus.unregisterObject(menuPath);
  made.bus.unregisterObject(itemPath);
}

void TrayItem::setMenu(std::vector<MenuItem> items) { implementation_->menu.setItems(std::move(items)); }

}  // namespace tolvane
