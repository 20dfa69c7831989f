#include "app/PlayerShell.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <QDBusPendingCallWatcher>
#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QTimer>
#include <QWindow>
#include <array>
#include <climits>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "app/shell/WindowSize.h"
#include "session/SettingsProxy.h"
#include "tests/app/dbus/BusFixture.h"
#include "tests/session/SessionFixture.h"
#include "tests/support/TemporaryFolder.h"

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
  /// Runs the program until `end` has ended it; one that does not end reaches the test's time limit.
  static int runUntil(void (*end)()) {
    QTimer::singleShot(0, end);
    return QCoreApplication::exec();
  }

  OffscreenApplication application;
  SettingsProxy settings{proxy};
  SourceActions sources{runLoop, [this](auto urls, auto) { proxy.loadPlaylist(urls, true); },
                        [](const BackgroundWork& work) { work(); }};
  std::optional<QWindow> window;
  std::optional<PlayerShell> shell;
};

TEST_F(Shell, OpensTheWindowAtItsSizeAndLetsItGrowOnly) {
  EXPECT_EQ(window->size(), QSize(600, 700));
  EXPECT_EQ(window->minimumSize(), QSize(600, 700));
  EXPECT_THAT(defaults.writes(), IsEmpty());
}

TEST_F(Shell, RecordsTheSizeThatTheUserGivesTheWindow) {
  window->resize(800, 720);
  settle();
  EXPECT_EQ(loadSavedWindowSize(defaults), (WindowSize{800, 720}));
}

TEST_F(Shell, MinimisesTheWindowThatIsClosedWhereNothingCouldShowItAgainAndPlaysOn) {
  load(1);
  session.togglePausePlayback();
  EXPECT_FALSE(window->close());
  settle();
  EXPECT_TRUE(window->isVisible());
  EXPECT_TRUE(window->windowStates().testFlag(Qt::WindowMinimized));
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

class ShellWithABus : public Shell {
 protected:
  ShellWithABus() {
    shell.reset();
    shell.emplace(service, ApplicationIdentity::player(),
                  PlayerShell::Parts{.session = proxy,
                                     .sources = sources,
                                     .defaults = settings,
                                     .runLoop = runLoop,
                                     .window = *window,
                                     .background = [](const BackgroundWork& work) { work(); }});
    settle();
  }
  ~ShellWithABus() override {
    shell.reset();
    QDBusConnection::disconnectFromBus(QStringLiteral("client"));
    QDBusConnection::disconnectFromBus(QStringLiteral("service"));
  }

  /// Calls the player from outside; returns its reply.
  QDBusMessage call(const char* path, const char* interface, const char* method, const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(service.baseService(), QLatin1String(path), QLatin1String(interface),
                                                  QLatin1String(method));
    message.setArguments(arguments);
    const QDBusPendingCallWatcher watcher(client.asyncCall(message));
    QTimer wake;
    wake.start(10);
    const QDeadlineTimer limit(60'000);  // reached only by a player that has lost its bus
    while (!watcher.isFinished() && !limit.hasExpired()) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
      runLoop.runUntilIdle();
    }
    settle();
    return watcher.reply();
  }
  QDBusMessage openURI(const std::string& path) {
    return call("/org/mpris/MediaPlayer2", "org.mpris.MediaPlayer2.Player", "OpenUri",
                {QString::fromStdString(FileURL(path).absoluteString())});
  }
  QDBusMessage openFile(const std::string& path) {
    return call("/org/tolvane/Player", "org.freedesktop.Application", "Open",
                {QStringList(QString::fromStdString(FileURL(path).absoluteString())), QVariantMap()});
  }

  test::PrivateBus bus;
  QDBusConnection service = bus.connect(QStringLiteral("service"));
  QDBusConnection client = bus.connect(QStringLiteral("client"));
};

/// Names of a track, at which there is none.
std::vector<std::string> pathsWithoutAFile(const test::TemporaryFolder& folder) {
  const auto at = [&](const std::string& name) { return (folder.path() / name).string(); };
  std::filesystem::create_directory(at("folder.wav"));
  EXPECT_EQ(::mkfifo(at("pipe.wav").c_str(), 0600), 0);
  std::filesystem::create_symlink(at("nothing.wav"), at("link to nothing.wav"));
  std::filesystem::create_symlink(at("link in a circle.wav"), at("link in a circle.wav"));
  std::filesystem::create_symlink(at("pipe.wav"), at("link to a pipe.wav"));
  folder.write("file.wav", "RIFF");
  const std::string longest(PATH_MAX - 1 - std::string_view("/.wav").size(), 'a');
  std::string deep = folder.path().string();
  while (deep.size() + 3 + std::string_view("/.wav").size() < PATH_MAX) deep += "/.";
  return {at("missing.wav"),
          at("folder.wav"),
          at("pipe.wav"),
          at("link to nothing.wav"),
          at("link in a circle.wav"),
          at("link to a pipe.wav"),
          at("file.wav/track.wav"),
          at(std::string(256, 'a') + ".wav"),
          "/dev/null",
          "/dev/null.wav",
          deep + "/.wav",
          '/' + longest + ".wav",
          '/' + longest + "a.wav",
          '/' + std::string(70'000, 'a') + ".wav"};
}

TEST_F(ShellWithABus, KeepsPlaylistAndMusicWhereThereIsNoFileToOpen) {
  const test::TemporaryFolder folder;
  load(2);
  session.togglePausePlayback();
  advance(1);
  settle();
  defaults.forgetWrites();
  int refused = 0;
  std::error_code none;
  for (const std::string& path : pathsWithoutAFile(folder)) {
    const auto answer = openURI(path);
    EXPECT_EQ(answer.type(), QDBusMessage::ErrorMessage) << path.substr(0, 100);
    EXPECT_FALSE(answer.errorMessage().isEmpty());
    refused += answer.type() == QDBusMessage::ErrorMessage ? 1 : 0;
    // Opening shows the window, whatever the files are; a link that is handed over is taken as it is.
    if (!std::filesystem::is_symlink(path, none)) (void)openFile(path);
    ASSERT_EQ(order(), (std::vector{1, 2})) << path.substr(0, 100);
    ASSERT_EQ(proxy.state().tracks.size(), 2U);
    ASSERT_TRUE(isPlaying());
  }
  EXPECT_EQ(refused, 14);
  EXPECT_THAT(defaults.writes(), testing::Not(Contains("TolvanePlayer.SavedPlaylist")));
  EXPECT_EQ(index(), 0);
}

TEST_F(ShellWithABus, OpensAFileThatIsThere) {
  const test::TemporaryFolder folder;
  load(2);
  const FileURL file = folder.write("track.wav", "RIFF");
  EXPECT_EQ(openURI(file.path()).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(session.fileURLs(), std::vector{file});
  load(2);
  std::filesystem::create_symlink(file.path(), folder.path() / "link.wav");
  EXPECT_EQ(openURI((folder.path() / "link.wav").string()).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(session.fileURLs(), std::vector{folder.url("link.wav")});
}

TEST_F(ShellWithABus, OpensASheetAsItsTracks) {
  const test::TemporaryFolder folder;
  const FileURL file = folder.write("album.wav", "RIFF");
  const FileURL sheet = folder.write("album.cue",
                                     "FILE album.wav WAVE\nTRACK 1 AUDIO\nTITLE One\nINDEX 01 00:00:00\nTRACK 2 AUDIO\n"
                                     "TITLE Two\nINDEX 01 00:02:00\n");
  EXPECT_EQ(openFile(sheet.path()).type(), QDBusMessage::ReplyMessage);
  EXPECT_EQ(session.fileURLs(),
            (std::vector{FileURL(file.path(), FileExcerpt{.end = 150, .title = "One", .trackNumber = 1}),
                         FileURL(file.path(), FileExcerpt{.first = 150, .title = "Two", .trackNumber = 2})}));
}

/// One of the ways in which the desktop asks for the window.
struct Request {
  const char* name;
  const char* path;
  const char* interface;
  const char* method;
  QVariantList arguments;
};

class ShellOnTheBus : public ShellWithABus, public testing::WithParamInterface<Request> {
 protected:
  void close() {
    EXPECT_FALSE(window->close());
    settle();
    EXPECT_FALSE(window->isVisible());
  }
  /// Asks for the window from outside, until that has been answered.
  void askForTheWindow() {
    const auto& request = GetParam();
    const auto answer = call(request.path, request.interface, request.method, request.arguments);
    EXPECT_EQ(answer.type(), QDBusMessage::ReplyMessage) << answer.errorMessage().toStdString();
  }
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
    EachRequest, ShellOnTheBus,
    testing::Values(
        Request{"Activate", "/org/tolvane/Player", "org.freedesktop.Application", "Activate", {QVariantMap()}},
        Request{"ShowPlayer",
                "/org/tolvane/Player",
                "org.freedesktop.Application",
                "ActivateAction",
                {QStringLiteral("show-player"), QVariantList(), QVariantMap()}},
        Request{"TrayClick", "/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate", {0, 0}},
        Request{"Raise", "/org/mpris/MediaPlayer2", "org.mpris.MediaPlayer2", "Raise", {}}),
    [](const auto& request) { return std::string(request.param.name); });

}  // namespace
}  // namespace tolvane
