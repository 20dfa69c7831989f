#include "app/PlayerShell.h"

#include <gmock/gmock.h>

#include <QGuiApplication>
#include <QTimer>
#include <QWindow>
#include <array>
#include <optional>

#include "app/shell/WindowSize.h"
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

class Shell : public SessionFixture {
 protected:
  Shell() {
    window.emplace();
    window->setFlags(Qt::Window | Qt::FramelessWindowHint);  // as the player's window
    shell.emplace(
        QDBusConnection(QStringLiteral("no bus")), ApplicationIdentity::player(),
        PlayerShell::Parts{
            .session = session, .sources = sources, .defaults = defaults, .runLoop = runLoop, .window = *window});
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
  SourceActions sources{runLoop, [this](auto urls) { session.loadPlaylist(urls, true); },
                        [](const SourceActions::Work& work) { work(); }};
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

}  // namespace
}  // namespace tolvane
