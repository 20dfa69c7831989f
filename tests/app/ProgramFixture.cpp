#include "tests/app/ProgramFixture.h"

#include <sys/stat.h>

#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QTimer>
#include <stdexcept>

namespace tolvane::test {

namespace {

constexpr int longestRun = 120'000;  // milliseconds until a program counts as hung; no test comes near it

}  // namespace

ProgramFixture::ProgramFixture() : client(bus.connect(QStringLiteral("client"))) {
  ::chmod(home.path().c_str(), S_IRWXU);
  environment = QProcessEnvironment::systemEnvironment();
  environment.remove(QStringLiteral("QT_QPA_PLATFORMTHEME"));
  const auto folder = QString::fromStdString(home.path().string());
  for (const auto* name : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"}) {
    environment.insert(QLatin1String(name), folder);
  }
  environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
  environment.remove(QStringLiteral("LANGUAGE"));
  environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
  environment.insert(QStringLiteral("QT_QUICK_BACKEND"), QStringLiteral("software"));
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus.address());
  environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent"));
}

ProgramFixture::~ProgramFixture() { QDBusConnection::disconnectFromBus(QStringLiteral("client")); }

std::unique_ptr<QProcess> ProgramFixture::start(const QStringList& arguments) {
  auto process = std::make_unique<QProcess>();
  process->setProcessEnvironment(environment);
  process->setProcessChannelMode(QProcess::ForwardedOutputChannel);
  process->start(QStringLiteral(TOLVANE_PLAYER), arguments);
  return process;
}

std::unique_ptr<QProcess> ProgramFixture::startPlayer(const QStringList& arguments) {
  auto process = start(arguments);
  waitUntil([this] { return isRunning(); });
  return process;
}

int ProgramFixture::exitCode(QProcess& process) {
  if (process.state() != QProcess::NotRunning && !process.waitForFinished(longestRun)) return -1;
  return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

int ProgramFixture::terminate(QProcess& process) {
  process.terminate();
  return exitCode(process);
}

bool ProgramFixture::isRunning() {
  return client.interface()->isServiceRegistered(QStringLiteral("org.mpris.MediaPlayer2.tolvane_player"));
}

void ProgramFixture::waitUntil(const std::function<bool()>& condition) {
  QTimer wake;
  wake.start(10);
  const QDeadlineTimer limit(longestRun);
  while (!condition()) {
    if (limit.hasExpired()) throw std::runtime_error("what the test waited for did not happen");
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
}

QDBusMessage ProgramFixture::call(const QString& path, const QString& interface, const QString& method,
                                  const QVariantList& values) {
  auto message = QDBusMessage::createMethodCall(playersName, path, interface, method);
  message.setArguments(values);
  return client.call(message, QDBus::Block, longestRun);
}

QString ProgramFixture::metadata(const QString& field) {
  const auto reply =
      call(QStringLiteral("/org/mpris/MediaPlayer2"), QStringLiteral("org.freedesktop.DBus.Properties"),
           QStringLiteral("Get"), {QStringLiteral("org.mpris.MediaPlayer2.Player"), QStringLiteral("Metadata")});
  if (reply.type() != QDBusMessage::ReplyMessage) return reply.errorName();
  const auto fields = qdbus_cast<QVariantMap>(reply.arguments().at(0).value<QDBusVariant>().variant());
  return fields.value(field).toString();
}

QDBusMessage ProgramFixture::askApplication(const char* method, const QVariantList& values) {
  return call(QStringLiteral("/org/tolvane/Player"), QStringLiteral("org.freedesktop.Application"),
              QLatin1String(method), values);
}

QDBusMessage ProgramFixture::act(const QString& action) {
  return askApplication("ActivateAction", {action, QVariantList(), QVariantMap()});
}

void ProgramFixture::quit() {
  call(QStringLiteral("/org/mpris/MediaPlayer2"), QStringLiteral("org.mpris.MediaPlayer2"), QStringLiteral("Quit"));
  waitUntil([this] { return !isRunning(); });
}

void ProgramFixture::letTheBusStartIt() {
  std::string command = "/usr/bin/env";
  for (const auto* name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR", "QT_QPA_PLATFORM", "DBUS_SYSTEM_BUS_ADDRESS"}) {
    command += std::string(" ") + name + "=" + environment.value(QLatin1String(name)).toStdString();
  }
  bus.addService(playersName.toStdString(), command + " " TOLVANE_PLAYER);
}

}  // namespace tolvane::test
