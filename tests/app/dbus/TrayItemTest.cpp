#include "app/dbus/TrayItem.h"

#include <QDBusVariant>
#include <QIcon>

#include "app/dbus/DBusMenuAdaptor.h"
#include "app/shell/AppDelegate.h"
#include "tests/app/dbus/BusFixture.h"
#include "tests/app/dbus/FakeTray.h"
#include "tests/app/dbus/SignalSpy.h"

namespace tolvane {
namespace {

const QString itemPath = QStringLiteral("/StatusNotifierItem");
const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString menuPath = QStringLiteral("/StatusNotifierItem/Menu");
const QString menuInterface = QStringLiteral("com.canonical.dbusmenu");

class Tray : public test::BusFixture {
 protected:
  Tray() { delegate.setSession(&proxy); }

  /// The player's menu on the bus, as it then is.
  void show() {
    settle();
    if (!item) {
      item.emplace(service, identity, QIcon(), [this](ShellAction action) { performed.push_back(action); });
      updates.listen(client, service.baseService(), menuPath, menuInterface, QStringLiteral("ItemsPropertiesUpdated"));
    }
    item->setMenu(delegate.playerSystemMenu());
  }

  DBusMenuLayout layout(int parent = 0, int depth = -1, const QStringList& names = {}) {
    const auto reply = call(menuPath, menuInterface, QStringLiteral("GetLayout"), {parent, depth, names});
    return reply.arguments().size() == 2 ? qdbus_cast<DBusMenuLayout>(reply.arguments().at(1))
                                         : DBusMenuLayout{-1, {}, {}};
  }
  QStringList labels() {
    QStringList result;
    for (const auto& child : layout().children) {
      const auto label = child.properties.value(QStringLiteral("label"), QStringLiteral("-")).toString();
      const bool isEnabled = child.properties.value(QStringLiteral("enabled"), true).toBool();
      result << (isEnabled ? label : QLatin1Char('(') + label + QLatin1Char(')'));
    }
    return result;
  }
  QDBusMessage click(int id) {
    return call(menuPath, menuInterface, QStringLiteral("Event"),
                {id, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(0)), 0U});
  }
  QVariant read(const QString& name) {
    return getProperty(itemPath, itemInterface, name).arguments().at(0).value<QDBusVariant>().variant();
  }

  std::vector<ShellAction> performed;
  AppDelegate delegate{[] {}};
  std::optional<TrayItem> item;
  test::SignalSpy updates;
};

TEST_F(Tray, AnnouncesItselfToATrayThatIsThere) {
  const test::FakeTray tray(client);
  show();
  turnUntil([&] { return !tray.items().isEmpty(); });
  EXPECT_TRUE(tray.items().at(0).startsWith(QStringLiteral("org.kde.StatusNotifierItem-")));
}

TEST_F(Tray, AnnouncesItselfToATrayThatComesLaterOrComesBack) {
  show();
  for (int time = 0; time < 2; ++time) {
    const test::FakeTray tray(client);
    turnUntil([&] { return !tray.items().isEmpty(); });
    EXPECT_EQ(tray.items().size(), 1);
  }
}

TEST_F(Tray, SaysWhatItIs) {
  show();
  EXPECT_EQ(read(QStringLiteral("Id")), QStringLiteral("org.tolvane.Test"));
  EXPECT_EQ(read(QStringLiteral("Title")), QStringLiteral("Tolvane Test"));
  EXPECT_EQ(read(QStringLiteral("IconName")), QStringLiteral("org.tolvane.Test"));
  EXPECT_EQ(read(QStringLiteral("Status")), QStringLiteral("Active"));
  EXPECT_EQ(read(QStringLiteral("Menu")).value<QDBusObjectPath>().path(), menuPath);
}

TEST_F(Tray, OffersTheSystemMenu) {
  load(2);
  session.togglePausePlayback();
  show();
  EXPECT_EQ(labels().join(QLatin1Char('|')).toStdString(),
            "(1.wav)|-|Previous|Pause|Next|-|Show Player|Quit Tolvane Music Player");
}

TEST_F(Tray, ShowsUnderscoresOfAFileNameAsTheyAre) {
  files.add(FileURL("/music/a_b.wav"), SimulatedPCMFile{});
  session.loadPlaylist(std::vector{FileURL("/music/a_b.wav")}, false);
  show();
  EXPECT_EQ(labels().at(0), QStringLiteral("(a__b.wav)"));
}

TEST_F(Tray, NotifiesThePanelOfWhatHasChangedAndNothingElse) {
  load(2);
  show();
  session.togglePausePlayback();
  show();
  show();
  turnUntil([&] { return !updates.received().isEmpty(); });
  session.playTrack(1, 0);
  show();
  turnUntil([&] { return updates.received().size() >= 2; });
  ASSERT_EQ(updates.received().size(), 2);
  const auto toPause = qdbus_cast<QList<DBusMenuItem>>(updates.received().at(0).at(0));
  ASSERT_EQ(toPause.size(), 1);
  EXPECT_EQ(toPause.at(0).id, 4);
  EXPECT_EQ(toPause.at(0).properties.value(QStringLiteral("label")), QStringLiteral("Pause"));
  const auto toLast = qdbus_cast<QList<DBusMenuItem>>(updates.received().at(1).at(0));
  ASSERT_EQ(toLast.size(), 2);
  EXPECT_EQ(toLast.at(0).properties.value(QStringLiteral("label")), QStringLiteral("2.wav"));
  EXPECT_EQ(toLast.at(1).properties, (QVariantMap{{QStringLiteral("enabled"), false}}));
}

TEST_F(Tray, NotifiesThePanelWhenALineCanBeChosenAgain) {
  load(2);
  session.playTrack(1, 0);
  show();
  session.playTrack(0, 0);
  show();
  turnUntil([&] { return !updates.received().isEmpty(); });
  const auto removed = qdbus_cast<QList<DBusMenuItemKeys>>(updates.received().at(0).at(1));
  ASSERT_EQ(removed.size(), 1);
  EXPECT_EQ(removed.at(0).id, 5);
  EXPECT_EQ(removed.at(0).properties, QStringList{QStringLiteral("enabled")});
}

TEST_F(Tray, PerformsWhatIsChosen) {
  load(2);
  show();
  for (const int id : {3, 4, 5, 7, 8}) click(id);
  EXPECT_THAT(performed,
              testing::ElementsAre(ShellAction::previousTrack, ShellAction::togglePlayback, ShellAction::nextTrack,
                                   ShellAction::showPlayerFromMenu, ShellAction::terminate));
}

TEST_F(Tray, PerformsNothingForLinesThatCannotBeChosen) {
  show();
  for (const int id : {0, 1, 2, 3, 4, 5, 6}) EXPECT_EQ(click(id).type(), QDBusMessage::ReplyMessage) << id;
  EXPECT_THAT(performed, testing::IsEmpty());
}

TEST_F(Tray, RefusesLinesThatAreNotThere) {
  show();
  for (const int id : {-1, 9, 1 << 30}) {
    EXPECT_EQ(click(id).type(), QDBusMessage::ErrorMessage) << id;
    EXPECT_EQ(layout(id).id, -1) << id;
    EXPECT_EQ(call(menuPath, menuInterface, QStringLiteral("AboutToShow"), {id}).type(), QDBusMessage::ErrorMessage);
  }
  EXPECT_EQ(call(menuPath, menuInterface, QStringLiteral("GetProperty"), {1, QStringLiteral("colour")}).type(),
            QDBusMessage::ErrorMessage);
}

TEST_F(Tray, GivesOnlyThePropertiesThatAreAskedFor) {
  show();
  EXPECT_EQ(layout(3, 0, {QStringLiteral("label")}).properties,
            (QVariantMap{{QStringLiteral("label"), QStringLiteral("Previous")}}));
  EXPECT_TRUE(layout(0, 0).children.isEmpty());
  const auto group = call(menuPath, menuInterface, QStringLiteral("GetGroupProperties"),
                          {QVariant::fromValue(QList<int>{7, 99}), QStringList{QStringLiteral("label")}});
  const auto items = qdbus_cast<QList<DBusMenuItem>>(group.arguments().at(0));
  ASSERT_EQ(items.size(), 1);
  EXPECT_EQ(items.at(0).properties.value(QStringLiteral("label")), QStringLiteral("Show Player"));
}

TEST_F(Tray, AnswersClicksOnItsIcon) {
  show();
  call(itemPath, itemInterface, QStringLiteral("Activate"), {10, 10});
  call(itemPath, itemInterface, QStringLiteral("SecondaryActivate"), {10, 10});
  call(itemPath, itemInterface, QStringLiteral("Scroll"), {120, QStringLiteral("vertical")});
  EXPECT_THAT(performed, testing::ElementsAre(ShellAction::showPlayerFromMenu, ShellAction::togglePlayback));
}

}  // namespace
}  // namespace tolvane
