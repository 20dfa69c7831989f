#include "app/dbus/PortalDialogs.h"

#include <QDBusMessage>
#include <QDBusVariant>
#include <QFile>
#include <QLibraryInfo>

namespace tolvane {

namespace {

constexpr unsigned firstVersionWithFolders = 3;
constexpr const char* themeVariable = "QT_QPA_PLATFORMTHEME";

}  // namespace

bool portalOpensFiles(const QDBusConnection& bus, std::chrono::milliseconds limit) {
  auto question = QDBusMessage::createMethodCall(
      QStringLiteral("org.freedesktop.portal.Desktop"), QStringLiteral("/org/freedesktop/portal/desktop"),
      QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
  question << QStringLiteral("org.freedesktop.portal.FileChooser") << QStringLiteral("version");
  const auto reply = bus.call(question, QDBus::Block, static_cast<int>(limit.count()));
  if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return false;
  return reply.arguments().constFirst().value<QDBusVariant>().variant().toUInt() >= firstVersionWithFolders;
}

void preferPortalDialogs() {
  if (qEnvironmentVariableIsSet(themeVariable)) return;
  if (!QFile::exists(QLibraryInfo::path(QLibraryInfo::PluginsPath) +
                     QStringLiteral("/platformthemes/libqxdgdesktopportal.so")))
    return;
  // A separate connection: the application makes its own.
  const auto name = QStringLiteral("portal");
  {
    const auto bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
    if (bus.isConnected() && portalOpensFiles(bus)) qputenv(themeVariable, "xdgdesktopportal");
  }
  QDBusConnection::disconnectFromBus(name);
}

}  // namespace tolvane
