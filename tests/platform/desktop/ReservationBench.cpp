#include "tests/platform/desktop/ReservationBench.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <array>
#include <atomic>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace tolvane::test {
namespace {

constexpr int failureMilliseconds = 10'000;

QString nameOf(int card) { return QStringLiteral("org.freedesktop.ReserveDevice1.Audio%1").arg(card); }
QString pathOf(int card) { return QStringLiteral("/org/freedesktop/ReserveDevice1/Audio%1").arg(card); }

/// Starts it, so that it goes with the test whatever happens, with a pipe that it writes its address to once it
/// listens.
void startDaemon(std::optional<ChildProcess>& daemon, const std::string& socket) {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) throw std::runtime_error("no pipe");
  daemon.emplace(std::vector<std::string>{"setpriv", "--pdeathsig", "TERM", "dbus-daemon", "--session", "--nofork",
                                          "--nopidfile", "--address=unix:path=" + socket,
                                          "--print-address=" + std::to_string(ends[1])});
  ::close(ends[1]);
  std::string address;
  pollfd waiting{ends[0], POLLIN, 0};
  char byte = 0;
  while (::poll(&waiting, 1, failureMilliseconds) == 1 && ::read(ends[0], &byte, 1) == 1 && byte != '\n')
    address += byte;
  ::close(ends[0]);
  if (address.empty()) throw std::runtime_error("dbus-daemon does not listen");
}

}  // namespace

bool eventually(const std::function<bool()>& condition) {
  const QDeadlineTimer deadline(failureMilliseconds);
  while (!condition()) {
    if (deadline.hasExpired()) return false;
    QCoreApplication::processEvents();
    std::this_thread::yield();
  }
  return true;
}

/// The address that the daemon itself reports ends in a number that its successor would not have.
PrivateBus::PrivateBus() : address_("unix:path=" + socket_) { startDaemon(daemon_, socket_); }

void PrivateBus::comeBack() { startDaemon(daemon_, socket_); }

void PrivateBus::stop() { ::kill(daemon_->pid(), SIGSTOP); }

void PrivateBus::goOn() { ::kill(daemon_->pid(), SIGCONT); }

PrivateBus::~PrivateBus() {
  if (daemon_) goOn();
}

OtherProgram::OtherProgram(const PrivateBus& bus, Manners manners)
    : manners_(std::move(manners)), connection_(QString()) {
  static std::atomic<int> count{0};
  const QString name = QStringLiteral("other-program-%1").arg(++count);
  connection_ = QDBusConnection::connectToBus(QString::fromStdString(bus.address()), name);
  EXPECT_TRUE(connection_.isConnected());
  connection_.registerVirtualObject(QStringLiteral("/org/freedesktop/ReserveDevice1"), this, QDBusConnection::SubPath);
  moveToThread(&thread_);
  thread_.start();
}

OtherProgram::~OtherProgram() {
  connection_.unregisterObject(QStringLiteral("/org/freedesktop/ReserveDevice1"));
  QDBusConnection::disconnectFromBus(connection_.name());
  thread_.quit();
  thread_.wait();
}

QDBusMessage OtherProgram::busCall(const char* method, const QVariantList& arguments) const {
  auto call =
      QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                     QStringLiteral("org.freedesktop.DBus"), QString::fromLatin1(method));
  call.setArguments(arguments);
  return connection_.call(call, QDBus::Block, failureMilliseconds);
}

bool OtherProgram::take(int card, bool replaces) {
  const uint flags = 4 | (manners_.allowsReplacement ? 1U : 0U) | (replaces ? 2U : 0U);
  const auto reply = busCall("RequestName", {nameOf(card), flags});
  return reply.type() == QDBusMessage::ReplyMessage && reply.arguments().value(0).toUInt() == 1;
}

void OtherProgram::drop(int card) { busCall("ReleaseName", {nameOf(card)}); }

QString OtherProgram::ownerOf(int card) {
  const auto reply = busCall("GetNameOwner", {nameOf(card)});
  return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toString() : QString();
}

std::optional<bool> OtherProgram::requestRelease(int card, const QVariant& priority) {
  auto call = QDBusMessage::createMethodCall(
      nameOf(card), pathOf(card), QStringLiteral("org.freedesktop.ReserveDevice1"), QStringLiteral("RequestRelease"));
  call << priority;
  const auto pending = connection_.asyncCall(call, failureMilliseconds);
  EXPECT_TRUE(eventually([&] { return pending.isFinished(); }));
  const auto reply = pending.reply();
  if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1) return std::nullopt;
  return reply.arguments()[0].toBool();
}

std::optional<QVariant> OtherProgram::property(int card, const QString& name) {
  auto call = QDBusMessage::createMethodCall(nameOf(card), pathOf(card),
                                             QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
  call << QStringLiteral("org.freedesktop.ReserveDevice1") << name;
  const auto pending = connection_.asyncCall(call, failureMilliseconds);
  EXPECT_TRUE(eventually([&] { return pending.isFinished(); }));
  const auto reply = pending.reply();
  if (reply.type() != QDBusMessage::ReplyMessage) return std::nullopt;
  return reply.arguments().value(0).value<QDBusVariant>().variant();
}

std::vector<int> OtherProgram::requests() const {
  const std::scoped_lock lock(mutex_);
  return requests_;
}

bool OtherProgram::handleMessage(const QDBusMessage& message, const QDBusConnection& /*bus*/) {
  if (message.member() == QLatin1String("Get")) {
    if (manners_.priority) connection_.send(message.createReply(QVariant::fromValue(QDBusVariant(*manners_.priority))));
    return true;
  }
  if (message.member() != QLatin1String("RequestRelease")) return false;
  {
    const std::scoped_lock lock(mutex_);
    requests_.push_back(message.arguments().value(0).toInt());
  }
  if (manners_.releasesName) drop(message.path().section(QStringLiteral("Audio"), 1).toInt());
  if (manners_.release) connection_.send(message.createReply(*manners_.release));
  return true;
}

}  // namespace tolvane::test
