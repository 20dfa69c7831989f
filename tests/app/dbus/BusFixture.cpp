#include "tests/app/dbus/BusFixture.h"

#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QProcess>
#include <QTimer>
#include <stdexcept>

namespace tolvane::test {

namespace {

constexpr int lookInterval = 10;  // milliseconds
constexpr int patience = 60'000;  // milliseconds until a bus or program counts as dead; no test comes near it
std::string programName = "test_dbus";

QString inFolder(const TemporaryFolder& folder, const char* name) {
  return QString::fromStdString((folder.path() / name).string());
}

}  // namespace

PrivateBus::PrivateBus() : daemon_(std::make_unique<QProcess>()) {
  const auto socket = (folder_.path() / "bus").string();
  std::filesystem::create_directory(folder_.path() / "services");
  folder_.write("bus.conf",
                "<busconfig><type>session</type><listen>unix:path=" + socket + "</listen><servicedir>" +
                    (folder_.path() / "services").string() +
                    "</servicedir><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\" "
                    "eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
  daemon_->start(QStringLiteral("dbus-daemon"), {QStringLiteral("--config-file=") + inFolder(folder_, "bus.conf"),
                                                 QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
  while (!daemon_->canReadLine()) {
    if (!daemon_->waitForReadyRead(patience)) throw std::runtime_error("dbus-daemon did not start");
  }
  address_ = QString::fromUtf8(daemon_->readLine()).trimmed();
}

PrivateBus::~PrivateBus() { die(); }

QDBusConnection PrivateBus::connect(const QString& name) const {
  auto connection = QDBusConnection::connectToBus(address_, name);
  if (!connection.isConnected()) throw std::runtime_error(connection.lastError().message().toStdString());
  return connection;
}

void PrivateBus::addService(const std::string& name, const std::string& command) {
  folder_.write("services/" + name + ".service", "[D-BUS Service]\nName=" + name + "\nExec=" + command + "\n");
  auto connection = connect(QStringLiteral("administrator"));
  connection.call(
      QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                     QStringLiteral("org.freedesktop.DBus"), QStringLiteral("ReloadConfig")));
  QDBusConnection::disconnectFromBus(QStringLiteral("administrator"));
}

void PrivateBus::die() {
  if (daemon_->state() == QProcess::NotRunning) return;
  daemon_->kill();
  daemon_->waitForFinished(patience);
}

BusFixture::BusFixture()
    : arguments{programName.data(), nullptr},
      application(argumentCount, arguments.data()),
      service(bus.connect(QStringLiteral("service"))),
      client(bus.connect(QStringLiteral("client"))) {}

BusFixture::~BusFixture() {
  QDBusConnection::disconnectFromBus(QStringLiteral("client"));
  QDBusConnection::disconnectFromBus(QStringLiteral("service"));
}

void BusFixture::turnUntil(const std::function<bool()>& condition) {
  QTimer wake;  // for changes without an event, such as the end of a connection
  wake.start(lookInterval);
  const QDeadlineTimer limit(patience);
  runLoop.runUntilIdle();
  while (!condition()) {
    if (limit.hasExpired()) throw std::runtime_error("what the test waited for did not happen");
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    runLoop.runUntilIdle();
  }
}

QDBusMessage BusFixture::call(const QDBusMessage& message) {
  const QDBusPendingCallWatcher watcher(client.asyncCall(message, patience));
  turnUntil([&] { return watcher.isFinished(); });
  return watcher.reply();
}

QDBusMessage BusFixture::call(const QString& path, const QString& interface, const QString& method,
                              const QVariantList& values) {
  auto message = QDBusMessage::createMethodCall(service.baseService(), path, interface, method);
  message.setArguments(values);
  return call(message);
}

QDBusMessage BusFixture::getProperty(const QString& path, const QString& interface, const QString& name) {
  return call(path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"), {interface, name});
}

QDBusMessage BusFixture::setProperty(const QString& path, const QString& interface, const QString& name,
                                     const QVariant& value) {
  return call(path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"),
              {interface, name, QVariant::fromValue(QDBusVariant(value))});
}

BusFixture::Outcome BusFixture::run(const QString& program, const QStringList& words) {
  QProcess process;
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus.address());
  process.setProcessEnvironment(environment);
  process.setProcessChannelMode(QProcess::MergedChannels);
  process.start(program, words);
  turnUntil([&] { return process.state() == QProcess::NotRunning; });
  return {process.exitStatus() == QProcess::NormalExit && process.error() == QProcess::UnknownError ? process.exitCode()
                                                                                                    : -1,
          QString::fromUtf8(process.readAll()).trimmed()};
}

}  // namespace tolvane::test
