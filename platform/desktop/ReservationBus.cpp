#include "platform/desktop/ReservationBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <utility>

#include "platform/desktop/SessionBus.h"

namespace tolvane {
namespace {

constexpr int replyMilliseconds = 500;
// RequestName's flags and answers.
constexpr uint allowReplacement = 1;
constexpr uint replaceExisting = 2;
constexpr uint doNotQueue = 4;
constexpr uint primaryOwner = 1;
constexpr uint alreadyOwner = 4;

const QString protocol = QStringLiteral("org.freedesktop.ReserveDevice1");
const QString objectRoot = QStringLiteral("/org/freedesktop/ReserveDevice1");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

QString nameOf(int card) { return protocol + QStringLiteral(".Audio%1").arg(card); }
QString pathOf(int card) { return objectRoot + QStringLiteral("/Audio%1").arg(card); }

/// The card in "…Audio3"; nothing for other names.
std::optional<int> cardAfter(const QString& prefix, const QString& name) {
  const QString start = prefix + QStringLiteral("Audio");
  if (!name.startsWith(start)) return std::nullopt;
  bool isNumber = false;
  const int card = name.mid(start.size()).toInt(&isNumber);
  return isNumber && card >= 0 ? std::optional(card) : std::nullopt;
}

QDBusMessage busCall(const char* method, const QVariantList& arguments) {
  auto call =
      QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                     QStringLiteral("org.freedesktop.DBus"), QString::fromLatin1(method));
  call.setArguments(arguments);
  return call;
}

QDBusMessage nameOwnerCall(int card) { return busCall("GetNameOwner", {nameOf(card)}); }

QDBusMessage processCall(const QString& owner) { return busCall("GetConnectionUnixProcessID", {owner}); }

QDBusMessage priorityCall(int card, const QString& owner) {
  auto call = QDBusMessage::createMethodCall(owner, pathOf(card), propertiesInterface, QStringLiteral("Get"));
  call << protocol << QStringLiteral("Priority");
  return call;
}

bool isError(const QDBusMessage& reply, const char* name) {
  return reply.type() == QDBusMessage::ErrorMessage && reply.errorName() == QLatin1String(name);
}

bool hasNoOwner(const QDBusMessage& reply) {
  return isError(reply, "org.freedesktop.DBus.Error.NameHasNoOwner") ||
         isError(reply, "org.freedesktop.DBus.Error.ServiceUnknown");
}

/// The only value of a reply, where it has the type that the protocol says.
template <typename Value>
std::optional<Value> valueOf(const QDBusMessage& reply) {
  if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1) return std::nullopt;
  QVariant value = reply.arguments().constFirst();
  if (value.canConvert<QDBusVariant>()) value = value.value<QDBusVariant>().variant();
  if (value.metaType() != QMetaType::fromType<Value>()) return std::nullopt;
  return value.value<Value>();
}

ReservationBus::Failure failure(const QDBusMessage& reply) {
  if (reply.type() == QDBusMessage::ErrorMessage) return reply.errorMessage().toStdString();
  return "the bus gave an answer that makes no sense";
}

ReservationBus::Peer peerFrom(const QDBusMessage& process, const QDBusMessage& priority) {
  ReservationBus::Peer peer;
  if (const auto pid = valueOf<uint>(process)) peer.pid = static_cast<pid_t>(*pid);
  if (const auto value = valueOf<int>(priority)) peer.priority = *value;
  return peer;
}

ReservationBus::NameOwner ownerFrom(const QDBusConnection& connection, const QString& owner) {
  using Kind = ReservationBus::NameOwner::Kind;
  if (owner.isEmpty()) return {Kind::none};
  if (owner == connection.baseService()) return {Kind::us};
  return {Kind::another, owner.toStdString()};
}

std::expected<ReservationBus::NameOwner, ReservationBus::Failure> ownerFrom(const QDBusConnection& connection,
                                                                            const QDBusMessage& reply) {
  if (hasNoOwner(reply)) return ReservationBus::NameOwner{};
  const auto owner = valueOf<QString>(reply);
  if (!owner) return std::unexpected(failure(reply));
  return ownerFrom(connection, *owner);
}

}  // namespace

/// Also the object that other programs call, below one path for all cards.
struct ReservationBus::Implementation final : QDBusVirtualObject {
  Implementation(QDBusConnection bus, Events& listener)
      : connection(std::move(bus)),
        events(listener),
        watcher(protocol + u'*', connection, QDBusServiceWatcher::WatchForOwnerChange) {
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
                     [this](const QString& name, const QString& /*before*/, const QString& owner) {
                       const auto card = cardAfter(protocol + u'.', name);
                       if (card) events.nameMoved(*card, ownerFrom(connection, owner));
                     });
    connection.registerVirtualObject(objectRoot, this, QDBusConnection::SubPath);
  }
  ~Implementation() override { QDBusConnection::disconnectFromBus(connection.name()); }

  QDBusMessage call(const QDBusMessage& message) const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    if (left <= 0) return QDBusMessage::createError(QDBusError::NoReply, QStringLiteral("the session bus is too slow"));
    return connection.call(message, QDBus::Block, static_cast<int>(std::min<std::int64_t>(left, replyMilliseconds)));
  }

  void ask(const QDBusMessage& message, std::function<void(const QDBusMessage&)> answer) {
    auto* watch = new QDBusPendingCallWatcher(connection.asyncCall(message, replyMilliseconds), this);
    QObject::connect(watch, &QDBusPendingCallWatcher::finished, this, [watch, answer = std::move(answer)] {
      watch->deleteLater();
      answer(watch->reply());
    });
  }

  // QDBusVirtualObject
  [[nodiscard]] QString introspect(const QString& path) const override;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override;

  [[nodiscard]] QDBusMessage propertyReply(const QDBusMessage& message, const Published& card) const;
  void answerReleaseRequest(int card, const QDBusMessage& message);

  QDBusConnection connection;
  Events& events;
  QDBusServiceWatcher watcher;
  Deadline deadline = Deadline::max();
  std::map<int, Published> published;
};

// The object.

QString ReservationBus::Implementation::introspect(const QString& path) const {
  const auto card = cardAfter(objectRoot + u'/', path);
  if (!card || !published.contains(*card)) return {};
  return QStringLiteral(R"(<interface name="org.freedesktop.ReserveDevice1">
  <method name="RequestRelease"><arg name="priority" type="i" direction="in"/><arg type="b" direction="out"/></method>
  <property name="Priority" type="i" access="read"/>
  <property name="ApplicationName" type="s" access="read"/>
  <property name="ApplicationDeviceName" type="s" access="read"/>
</interface>
)");
}

bool ReservationBus::Implementation::handleMessage(const QDBusMessage& message, const QDBusConnection& /*bus*/) {
  const auto card = cardAfter(objectRoot + u'/', message.path());
  const auto found = card ? published.find(*card) : published.end();
  if (found == published.end()) return false;
  const bool isOurs = message.interface().isEmpty() || message.interface() == protocol;
  if (isOurs && message.member() == QLatin1String("RequestRelease")) {
    answerReleaseRequest(*card, message);
    return true;
  }
  if (message.interface() != propertiesInterface) return false;
  connection.send(propertyReply(message, found->second));
  return true;
}

void ReservationBus::Implementation::answerReleaseRequest(int card, const QDBusMessage& message) {
  const QVariantList arguments = message.arguments();
  if (arguments.size() != 1 || arguments[0].metaType() != QMetaType::fromType<int>()) {
    connection.send(message.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("A priority is needed.")));
    return;
  }
  const bool agreed = events.releaseRequested(card, arguments[0].toInt());
  connection.send(message.createReply(agreed));
  if (agreed) events.releaseAnswered(card);
}

QDBusMessage ReservationBus::Implementation::propertyReply(const QDBusMessage& message, const Published& card) const {
  const QVariantMap properties{
      {QStringLiteral("Priority"), card.priority},
      {QStringLiteral("ApplicationName"), QString::fromStdString(card.applicationName)},
      {QStringLiteral("ApplicationDeviceName"), QString::fromStdString(card.deviceName)},
  };
  const QVariantList arguments = message.arguments();
  const bool isOfThisInterface = !arguments.isEmpty() && arguments[0].toString() == protocol;
  if (isOfThisInterface && message.member() == QLatin1String("GetAll")) return message.createReply(properties);
  if (isOfThisInterface && message.member() == QLatin1String("Get") && arguments.size() == 2) {
    const auto property = properties.find(arguments[1].toString());
    if (property != properties.end()) return message.createReply(QVariant::fromValue(QDBusVariant(*property)));
  }
  return message.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("There is no such property."));
}

// The connection.

std::expected<std::unique_ptr<ReservationBus>, ReservationBus::Failure> ReservationBus::connect(
    const std::string& address, Events& events) {
  if (address.empty()) return std::unexpected("there is no session bus");
  // Qt would wait for half a minute.
  if (!busAnswers(address, std::chrono::milliseconds(replyMilliseconds))) {
    return std::unexpected("the session bus does not answer");
  }
  static std::atomic<unsigned> count{0};  // names must differ; orders nothing
  const QString name = QStringLiteral("tolvane-reservation-%1").arg(count.fetch_add(1, std::memory_order_relaxed));
  auto connection = QDBusConnection::connectToBus(QString::fromStdString(address), name);
  if (!connection.isConnected()) {
    const Failure why = connection.lastError().message().toStdString();
    QDBusConnection::disconnectFromBus(name);
    return std::unexpected(why);
  }
  return std::unique_ptr<ReservationBus>(
      new ReservationBus(std::make_unique<Implementation>(std::move(connection), events)));
}

ReservationBus::ReservationBus(std::unique_ptr<Implementation> implementation)
    : implementation_(std::move(implementation)) {}

ReservationBus::~ReservationBus() = default;

bool ReservationBus::isConnected() const { return implementation_->connection.isConnected(); }

void ReservationBus::answerBy(Deadline deadline) { implementation_->deadline = deadline; }

bool ReservationBus::isLate() const { return std::chrono::steady_clock::now() >= implementation_->deadline; }

std::expected<ReservationBus::NameOwner, ReservationBus::Failure> ReservationBus::nameOwner(int card) const {
  return ownerFrom(implementation_->connection, implementation_->call(nameOwnerCall(card)));
}

ReservationBus::Peer ReservationBus::peer(int card, const std::string& owner) const {
  const QString peer = QString::fromStdString(owner);
  return peerFrom(implementation_->call(processCall(peer)), implementation_->call(priorityCall(card, peer)));
}

std::expected<bool, ReservationBus::Failure> ReservationBus::requestName(int card, bool replaces) const {
  const uint flags = allowReplacement | doNotQueue | (replaces ? replaceExisting : 0);
  const QDBusMessage reply = implementation_->call(busCall("RequestName", {nameOf(card), flags}));
  const auto answer = valueOf<uint>(reply);
  if (!answer) return std::unexpected(failure(reply));
  return *answer == primaryOwner || *answer == alreadyOwner;
}

ReservationBus::Release ReservationBus::requestRelease(int card, const std::string& owner,
                                                       std::int32_t priority) const {
  auto message = QDBusMessage::createMethodCall(QString::fromStdString(owner), pathOf(card), protocol,
                                                QStringLiteral("RequestRelease"));
  message << priority;
  const QDBusMessage reply = implementation_->call(message);
  if (hasNoOwner(reply)) return Release::ownerHasGone;
  return valueOf<bool>(reply).value_or(false) ? Release::agreed : Release::refused;
}

void ReservationBus::askNameOwner(int card, std::function<void(const std::expected<NameOwner, Failure>&)> answer) {
  implementation_->ask(nameOwnerCall(card), [this, answer = std::move(answer)](const QDBusMessage& reply) {
    answer(ownerFrom(implementation_->connection, reply));
  });
}

void ReservationBus::askPeer(int card, const std::string& owner, std::function<void(const Peer&)> answer) {
  const QString peer = QString::fromStdString(owner);
  const auto askPriority = [this, card, peer, answer = std::move(answer)](const QDBusMessage& process) {
    implementation_->ask(priorityCall(card, peer),
                         [process, answer](const QDBusMessage& priority) { answer(peerFrom(process, priority)); });
  };
  implementation_->ask(processCall(peer), askPriority);
}

void ReservationBus::releaseName(int card) { implementation_->connection.send(busCall("ReleaseName", {nameOf(card)})); }

void ReservationBus::publish(int card, Published published) {
  implementation_->published.insert_or_assign(card, std::move(published));
}

void ReservationBus::unpublish(int card) { implementation_->published.erase(card); }

}  // namespace tolvane
