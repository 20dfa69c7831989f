#include "app/dbus/MediaPlayerService.h"

#include <QDBusConnectionInterface>
#include <utility>

#include "app/dbus/MediaPlayerAdaptors.h"

namespace tolvane {

namespace {

const QString playerObject = QStringLiteral("/org/mpris/MediaPlayer2");

}  // namespace

struct MediaPlayerService::Implementation {
  Implementation(const QDBusConnection& connection, const ApplicationIdentity& identity, MediaControls& controls,
                 Shell shell)
      : bus(connection),
        name(QStringLiteral("org.mpris.MediaPlayer2.") + QString::fromStdString(identity.mprisName)),
        root(&object, identity, std::move(shell)),
        player(&object, bus, controls, QString::fromStdString(identity.objectPath() + "/Track/")) {}

  QDBusConnection bus;
  QString name;
  QObject object;
  MediaPlayerRootAdaptor root;
  MediaPlayerAdaptor player;
};

MediaPlayerService::MediaPlayerService(const QDBusConnection& bus, const ApplicationIdentity& identity,
                                       MediaControls& controls, Shell shell)
    : implementation_(std::make_unique<Implementation>(bus, identity, controls, std::move(shell))) {
  auto& made = *implementation_;
  if (!made.bus.isConnected()) return;
  made.bus.registerObject(playerObject, &made.object, QDBusConnection::ExportAdaptors);
  made.bus.registerService(made.name);
}

MediaPlayerService::~MediaPlayerService() {
  auto& made = *implementation_;
  made.player.disconnectFromControls();
  if (!made.bus.isConnected()) return;
  made.bus.unregisterService(made.name);
  made.bus.unregisterObject(playerObject);
}

}  // namespace tolvane
