#include "app/PlayerShell.h"

#include <gmock/gmock.h>

#include <QDBusPendingCallWatcher>
#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QTimer>
#include <QWindow>
#include <array>
#include <optional>

#include "app/shell/WindowSize.h"
#include "session/SettingsProxy.h"
#include "tests/app/dbus/BusFixture.h"
#include "tests/session/SessionFixture.h"

namespace tolvane {
namespace {

using testing::Contains;
using testing::IsEmpty;

/// Windows without a display.
class OffscreenApplication {
 public:
  OffscreenApplication() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    application_.emplace(count_, arguments_.data());
  }

 private:
  int count_ = 1;
  std::string name_ = "test_app";
  std::array<char*, 2> arguments_{name_.data(), nullptr};
  std::optional<QGuiApplication> application_;
};

class Shell : public ProxyFixture {
 protected:
  Shell() {
    defaults.forgetWrites();  // of the player's own start
    window.emplace();
    window->setFlags(Qt::Window | Qt::FramelessWindowHint);  // as the player's window
    shell.emplace(
        QDBusConnection(QStringLiteral("no bus")), ApplicationIdentity::player(),
        PlayerShell::Parts{
            .session = proxy, .sources = sources, .defaults = settings, .runLoop = runLoop, .window = *window});
    runLoop.runUntilIdle();
    window->show();
    settle();
  }

  void settle() {
    QCoreApplication::processEvents();
    runLoop.runUntilIdle();
  }
  /// Runs the program until `end` has ended it; the test's time limit is for one that goes on.
  static int runUntil(void (*end)()) {
    QTimer::singleShot(0, end);
    return QCoreApplication::exec();
  }

  OffscreenApplication application;
  SettingsProxy settings{proxy};
  SourceActions sources{runLoop, [this](auto urls) { proxy.loadPlaylist(urls, true); },
                        [](const BackgroundWork& work) { work(); }};
  std::optional<QWindow> window;
  std::optional<PlayerShell> shell;
};

TEST_F(Shell, OpensTheWindowAtItsSizeAndLetsItGrowOnly) {
  EXPECT_EQ(window->size(), QSize(600, 700));
  EXPECT_EQ(window->minimumSize(), QSize(600, 700));
  EXPECT_THAT(defaults.writes(), IsEmpty());
}

TEST_F(Shell, RecordsTheSizeThatTheListenerGivesTheWindow) {
  window->resize(800, 720);
  settle();
  EXPECT_EQ(loadSavedWindowSize(defaults), (WindowSize{800, 720}));
}

TEST_F(Shell, HidesTheWindowWhenItIsClosedAndPlaysOn) {
  load(1);
  session.togglePausePlayback();
  EXPECT_FALSE(window->close());
  settle();
  EXPECT_FALSE(window->isVisible());
  advance(1);
  EXPECT_TRUE(isPlaying());
  EXPECT_FALSE(QGuiApplication::quitOnLastWindowClosed());
}

TEST_F(Shell, QuitsAlthoughTheWindowDoesNotClose) {
  EXPECT_EQ(runUntil([] { QCoreApplication::quit(); }), 0);
  EXPECT_FALSE(window->isVisible());
}

TEST_F(Shell, QuitsWithAHiddenWindowToo) {
  window->close();
  EXPECT_EQ(runUntil([] { QCoreApplication::quit(); }), 0);
}

TEST_F(Shell, SavesWhenTheProgramEnds) {
  bookmarks.add(addTrack(1));
  load(1);
  session.togglePausePlayback();
  advance(1.5);
  defaults.forgetWrites();
  EXPECT_EQ(runUntil([] { QCoreApplication::quit(); }), 0);
  settle();  // the player saves before its thread ends
  EXPECT_THAT(defaults.writes(), Contains("TolvanePlayer.SavedPlaylist"));
  EXPECT_EQ(defaults.writes().back(), "TolvanePlayer.SavedPlaybackState");
}

TEST_F(Shell, LeavesThePlaylistAloneWithoutFilesToOpen) {
  load(2);
  shell->open({});
  settle();
  EXPECT_EQ(order(), (std::vector{1, 2}));
}

TEST_F(Shell, MayEndBeforeItsWindow) {
  shell.reset();
  EXPECT_TRUE(window->close());
}

/// One of the ways in which the desktop asks for the window.
struct WayBack {
  const char* name;
  const char* path;
  const char* interface;
  const char* method;
  QVariantList arguments;
};

class ShellOnTheBus : public Shell, public testing::WithParamInterface<WayBack> {
 protected:
  ShellOnTheBus() {
    shell.reset();
    shell.emplace(
        service, ApplicationIdentity::player(),
        PlayerShell::Parts{
            .session = proxy, .sources = sources, .defaults = settings, .runLoop = runLoop, .window = *window});
    settle();
  }
  ~ShellOnTheBus() override {
    shell.reset();
    QDBusConnection::disconnectFromBus(QStringLiteral("client"));
    QDBusConnection::disconnectFromBus(QStringLiteral("service"));
  }

  void close() {
    EXPECT_FALSE(window->close());
    settle();
    EXPECT_FALSE(window->isVisible());
  }
  /// Asks for the window from outside, until that has been answered.
  void askForTheWindow() {
    const auto& way = GetParam();
    auto message = QDBusMessage::createMethodCall(service.baseService(), QLatin1String(way.path),
                                                  QLatin1String(way.interface), QLatin1String(way.method));
    message.setArguments(way.arguments);
    const QDBusPendingCallWatcher watcher(client.asyncCall(message));
    QTimer wake;
    wake.start(10);
    const QDeadlineTimer limit(60'000);  // only a player that has lost its bus comes near it
    while (!watcher.isFinished() && !limit.hasExpired()) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
      runLoop.runUntilIdle();
    }
    EXPECT_EQ(watcher.reply().type(), QDBusMessage::ReplyMessage) << watcher.reply().errorMessage().toStdString();
    settle();
  }

  test::PrivateBus bus;
  QDBusConnection service = bus.connect(QStringLiteral("service"));
  QDBusConnection client = bus.connect(QStringLiteral("client"));
};

TEST_P(ShellOnTheBus, BringsBackAWindowThatWasClosed) {
  close();
  askForTheWindow();
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(window->windowStates(), Qt::WindowNoState);
  EXPECT_EQ(window->size(), QSize(600, 700));
}

TEST_P(ShellOnTheBus, BringsBackAWindowThatWasMinimised) {
  window->showMinimized();
  settle();
  ASSERT_TRUE(window->windowStates().testFlag(Qt::WindowMinimized));
  askForTheWindow();
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(window->windowStates(), Qt::WindowNoState);
}

TEST_P(ShellOnTheBus, BringsBackAWindowThatWasMinimisedAndClosed) {
  window->showMinimized();
  settle();
  close();
  askForTheWindow();
  EXPECT_TRUE(window->isVisible());
  EXPECT_FALSE(window->windowStates().testFlag(Qt::WindowMinimized));
}

TEST_P(ShellOnTheBus, BringsBackAWindowThatWasMaximisedAsLargeAsItWas) {
  window->showMaximized();
  settle();
  const auto size = window->size();
  ASSERT_NE(size, QSize(600, 700));
  close();
  askForTheWindow();
  EXPECT_TRUE(window->isVisible());
  EXPECT_EQ(window->windowStates(), Qt::WindowMaximized);
  EXPECT_EQ(window->size(), size);
}

INSTANTIATE_TEST_SUITE_P(
    EachWay, ShellOnTheBus,
    testing::Values(
        WayBack{"Activate", "/org/tolvane/Player", "org.freedesktop.Application", "Activate", {QVariantMap()}},
        WayBack{"ShowPlayer",
                "/org/tolvane/Player",
                "org.freedesktop.Application",
                "ActivateAction",
                {QStringLiteral("show-player"), QVariantList(), QVariantMap()}},
        WayBack{"TrayClick", "/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate", {0, 0}},
        WayBack{"Raise", "/org/mpris/MediaPlayer2", "org.mpris.MediaPlayer2", "Raise", {}}),
    [](const auto& way) { return std::string(way.param.name); });

}  // namespace
}  // namespace tolvane
