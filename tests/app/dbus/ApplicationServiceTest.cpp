#include "app/dbus/ApplicationService.h"

#include <QDBusVirtualObject>
#include <atomic>
#include <thread>

#include "tests/app/dbus/BusFixture.h"

namespace tolvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const QString path = QStringLiteral("/org/tolvane/Test");
const QString interface = QStringLiteral("org.freedesktop.Application");

/// Takes every call and never answers.
class Deaf final : public QDBusVirtualObject {
 public:
  [[nodiscard]] QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
    message.setDelayedReply(true);
    return true;
  }
};

class Application : public test::BusFixture {
 protected:
  /// The first start: owns the name and answers.
  void startPlayer() {
    ASSERT_EQ(claimInstance(service, identity, {}), InstanceRole::first);
    player.emplace(service, identity, handlers());
  }

  ApplicationService::Handlers handlers() {
    return {.activate = [this](const std::string& token) { events.push_back("activate " + token); },
            .open =
                [this](const std::vector<FileURL>& urls, const std::string& token) {
                  events.push_back("open " + token);
                  opened = urls;
                },
            .activateAction =
                [this](std::string_view action, const std::string&) {
                  if (action != "next") return false;
                  events.emplace_back("next");
                  return true;
                }};
  }

  /// A second start beside the player, which goes on meanwhile.
  InstanceRole startAgain(const std::vector<FileURL>& urls,
                          std::chrono::milliseconds patience = std::chrono::minutes(1)) {
    std::atomic<bool> isDone = false;
    InstanceRole role = InstanceRole::refused;
    std::thread second([&] {
      auto connection = bus.connect(QStringLiteral("second"));
      role = claimInstance(connection, identity, urls, patience);
      QDBusConnection::disconnectFromBus(QStringLiteral("second"));
      isDone = true;
      QMetaObject::invokeMethod(
          &application, [] {}, Qt::QueuedConnection);  // wakes the test
    });
    turnUntil([&] { return isDone.load(); });
    second.join();
    return role;
  }

  QDBusMessage open(const QStringList& uris, const QVariantMap& platformData = {}) {
    return call(path, interface, QStringLiteral("Open"), {uris, platformData});
  }

  std::optional<ApplicationService> player;
  Deaf deafness;
  std::vector<std::string> events;
  std::vector<FileURL> opened;
};

TEST_F(Application, IsBroughtBackByASecondStart) {
  startPlayer();
  EXPECT_EQ(startAgain({}), InstanceRole::handedOver);
  EXPECT_THAT(events, ElementsAre("activate "));
}

TEST_F(Application, TakesTheFilesOfASecondStart) {
  startPlayer();
  const std::vector urls{FileURL("/music/a b.wav"), FileURL("/music/\xFF.flac")};
  EXPECT_EQ(startAgain(urls), InstanceRole::handedOver);
  EXPECT_THAT(events, ElementsAre("open "));
  EXPECT_EQ(opened, urls);
}

TEST_F(Application, HandsItsLeaveToTakeTheFocusOver) {
  startPlayer();
  qputenv("XDG_ACTIVATION_TOKEN", "token-7");
  EXPECT_EQ(startAgain({}), InstanceRole::handedOver);
  qunsetenv("XDG_ACTIVATION_TOKEN");
  EXPECT_THAT(events, ElementsAre("activate token-7"));
}

TEST_F(Application, MayStartAgainOnceTheFirstHasEnded) {
  startPlayer();
  player.reset();
  service.unregisterService(QString::fromStdString(identity.id));
  EXPECT_EQ(startAgain({}), InstanceRole::first);
}

TEST_F(Application, DoesNotWaitForeverForOneThatHangs) {
  ASSERT_EQ(claimInstance(client, identity, {}), InstanceRole::first);
  QDBusConnection silent = client;
  ASSERT_TRUE(silent.registerVirtualObject(path, &deafness, QDBusConnection::SubPath));
  EXPECT_EQ(startAgain({}, std::chrono::milliseconds(1)), InstanceRole::refused);
}

TEST_F(Application, StartsAloneWithoutABus) {
  bus.die();
  auto nowhere = QDBusConnection::connectToBus(bus.address(), QStringLiteral("nowhere"));
  EXPECT_EQ(claimInstance(nowhere, identity, {}), InstanceRole::first);
  const ApplicationService alone(nowhere, identity, handlers());
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(Application, OpensWhatTheDesktopHandsOver) {
  startPlayer();
  EXPECT_EQ(open({QStringLiteral("file:///a%20b.wav"), QStringLiteral("http://host/c.wav")},
                 {{QStringLiteral("desktop-startup-id"), QStringLiteral("id-1")}})
                .type(),
            QDBusMessage::ReplyMessage);
  EXPECT_THAT(events, ElementsAre("open id-1"));
  EXPECT_THAT(opened, ElementsAre(FileURL("/a b.wav")));
}

TEST_F(Application, RefusesWhatIsNoFileOfThisMachine) {
  startPlayer();
  EXPECT_EQ(open({QStringLiteral("http://host/c.wav")}).type(), QDBusMessage::ErrorMessage);
  EXPECT_EQ(call(path, interface, QStringLiteral("Open"), {QStringLiteral("file:///a.wav")}).type(),
            QDBusMessage::ErrorMessage);
  EXPECT_THAT(events, IsEmpty());
}

TEST_F(Application, PerformsTheActionsItKnows) {
  startPlayer();
  const auto act = [this](const QString& name) {
    return call(path, interface, QStringLiteral("ActivateAction"), {name, QVariantList(), QVariantMap()}).type();
  };
  EXPECT_EQ(act(QStringLiteral("next")), QDBusMessage::ReplyMessage);
  EXPECT_EQ(act(QStringLiteral("explode")), QDBusMessage::ErrorMessage);
  EXPECT_THAT(events, ElementsAre("next"));
}

}  // namespace
}  // namespace tolvane
