#include "app/dbus/ApplicationService.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <utility>

#include "app/dbus/ApplicationAdaptor.h"
#include "platform/FileURI.h"

namespace tolvane {

namespace {

constexpr int claimAttempts = 3;

const QString applicationInterface = QStringLiteral("org.freedesktop.Application");

/// The desktop's activation token, which a program receives at its start or with a call.
std::string activationToken(const QVariantMap& platformData) {
  for (const auto* key : {"activation-token", "desktop-startup-id"}) {
    const auto token = platformData.value(QLatin1String(key)).toString();
    if (!token.isEmpty()) return token.toStdString();
  }
  return {};
}

QVariantMap ownPlatformData() {
  QVariantMap data;
  const auto add = [&data](const char* key, const char* variable) {
    const auto value = qEnvironmentVariable(variable);
    if (!value.isEmpty()) data.insert(QLatin1String(key), value);
  };
  add("activation-token", "XDG_ACTIVATION_TOKEN");
  add("desktop-startup-id", "DESKTOP_STARTUP_ID");
  return data;
}

QDBusMessage handOver(const ApplicationIdentity& identity, std::span<const FileURL> files) {
  auto call = QDBusMessage::createMethodCall(QString::fromStdString(identity.id),
                                             QString::fromStdString(identity.objectPath()), applicationInterface,
                                             files.empty() ? QStringLiteral("Activate") : QStringLiteral("Open"));
  call.setAutoStartService(false);
  if (!files.empty()) {
    QStringList uris;
    for (const auto& file : files) uris << QString::fromStdString(file.absoluteString());
    call << uris;
  }
  call << ownPlatformData();
  return call;
}

/// The one that had the name ended before it could answer.
bool hasGone(QDBusConnection& bus, const ApplicationIdentity& identity) {
  auto* daemon = bus.interface();
  return daemon && !daemon->isServiceRegistered(QString::fromStdString(identity.id)).value();
}

}  // namespace

InstanceRole claimInstance(QDBusConnection& bus, const ApplicationIdentity& identity, std::span<const FileURL> files,
                           std::chrono::milliseconds patience) {
  if (!bus.isConnected()) return InstanceRole::first;
  for (int attempt = 0; attempt < claimAttempts; ++attempt) {
    if (bus.registerService(QString::fromStdString(identity.id))) return InstanceRole::first;
    if (!bus.isConnected()) return InstanceRole::first;
    const auto reply = bus.call(handOver(identity, files), QDBus::Block, static_cast<int>(patience.count()));
    if (reply.type() == QDBusMessage::ReplyMessage) return InstanceRole::handedOver;
    if (!hasGone(bus, identity)) return InstanceRole::refused;
  }
  return InstanceRole::refused;
}

void ApplicationAdaptor::Activate(const QVariantMap& platform_data) {
  handlers_.activate(activationToken(platform_data));
}

void ApplicationAdaptor::Open(const QStringList& uris, const QVariantMap& platform_data, const QDBusMessage& call) {
  std::vector<FileURL> files;
  for (const QString& uri : uris) {
    if (const auto url = fileURLFromURI(uri.toStdString())) files.push_back(*url);
  }
  if (files.empty() && !uris.isEmpty())
    return refuse(call, QStringLiteral("Only files of this machine can be played."));
  handlers_.open(std::move(files), activationToken(platform_data));
}

void ApplicationAdaptor::ActivateAction(const QString& action_name, const QVariantList& /*parameter*/,
                                        const QVariantMap& platform_data, const QDBusMessage& call) {
  if (handlers_.activateAction(action_name.toStdString(), activationToken(platform_data))) return;
  refuse(call, QStringLiteral("There is no action of this name."));
}

void ApplicationAdaptor::refuse(const QDBusMessage& call, const QString& sentence) const {
  call.setDelayedReply(true);
  bus_.send(call.createErrorReply(QDBusError::InvalidArgs, sentence));
}

struct ApplicationService::Implementation {
  Implementation(const QDBusConnection& connection, const ApplicationIdentity& identity, Handlers handlers)
      : bus(connection),
        path(QString::fromStdString(identity.objectPath())),
        adaptor(&object, bus, std::move(handlers)) {}

  QDBusConnection bus;
  QString path;
  QObject object;
  ApplicationAdaptor adaptor;
};

ApplicationService::ApplicationService(const QDBusConnection& bus, const ApplicationIdentity& identity,
                                       Handlers handlers)
    : implementation_(std::make_unique<Implementation>(bus, identity, std::move(handlers))) {
  auto& made = *implementation_;
  if (made.bus.isConnected()) made.bus.registerObject(made.path, &made.object, QDBusConnection::ExportAdaptors);
}

ApplicationService::~ApplicationService() {
  auto& made = *implementation_;
  if (made.bus.isConnected()) made.bus.unregisterObject(made.path);
}

}  // namespace tolvane
