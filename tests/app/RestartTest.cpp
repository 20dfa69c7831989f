// A user who quits and comes back: the program twice over the same stored defaults, each time with a window of its own.
// Seen and set in that window, by accessible names.

#include <gmock/gmock.h>

#include <QAccessible>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "app/PlayerShell.h"
#include "app/shell/WindowSize.h"
#include "platform/simulated/ManualRunLoop.h"
#include "platform/simulated/MemoryLog.h"
#include "platform/simulated/SimulatedAudioFileServices.h"
#include "platform/simulated/SimulatedAudioHardware.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "platform/storage/SqliteUserDefaults.h"
#include "session/SessionHost.h"
#include "session/SettingsProxy.h"
#include "tests/support/TemporaryFolder.h"
#include "ui/qt/window/PlayerWindow.h"

namespace tolvane {
namespace {

using testing::ElementsAre;

/// The program from its start to its end, as the player's own main puts it together.
struct PlayerRun {
  PlayerRun(const std::filesystem::path& folder, AudioFileServices& music, FileBookmarks& access)
      : files(music), bookmarks(access), defaults(folder, log, {.patience = {.atStart = std::chrono::minutes(1)}}) {
    QAccessible::setActive(true);
    shell.emplace(QDBusConnection(QStringLiteral("no bus")), ApplicationIdentity::player(),
                  PlayerShell::Parts{.session = session,
                                     .sources = sources,
                                     .defaults = settings,
                                     .runLoop = runLoop,
                                     .window = *window.window()});
    settle();
  }

  void settle() {
    for (int turn = 0; turn < 3; ++turn) {
      for (const auto& work : std::exchange(background, {})) work();
      runLoop.runUntilIdle();
      QCoreApplication::sendPostedEvents();
      QCoreApplication::processEvents();
      window.window()->grabWindow();
    }
  }
  void advance(double seconds) {
    runLoop.advance(durationFromSeconds(seconds));
    settle();
  }
  /// As the user does; returns once the program would be over.
  void quit() {
    QTimer::singleShot(0, [] { QCoreApplication::quit(); });
    EXPECT_EQ(QCoreApplication::exec(), 0);
    runLoop.runUntilIdle();  // the player saves before its thread ends
  }

  // What the window shows.

  [[nodiscard]] QAccessibleInterface* control(const QString& name) { return find(root(), name); }
  void act(const QString& name, const QString& action) {
    auto* found = control(name);
    ASSERT_NE(found, nullptr) << name.toStdString();
    found->actionInterface()->doAction(action);
    settle();
  }
  void setLevel(const QString& name, double level) {
    auto* found = control(name);
    ASSERT_NE(found, nullptr) << name.toStdString();
    found->valueInterface()->setCurrentValue(level);
    settle();
  }
  [[nodiscard]] bool shows(const QString& name) { return control(name) != nullptr; }
  /// In the order of their numbers: one that has just been moved may not have arrived.
  [[nodiscard]] std::vector<std::string> rows() {
    std::map<int, std::string> byNumber;
    collectRows(root(), byNumber);
    std::vector<std::string> names;
    for (auto& [number, name] : byNumber) names.push_back(std::move(name));
    return names;
  }

  MemoryLog log;
  ManualRunLoop runLoop;
  SimulatedAudioHardware hardware{runLoop};
  AudioObjectID device = hardware.addDevice({});
  AudioFileServices& files;
  FileBookmarks& bookmarks;
  std::vector<std::function<void()>> background;  ///< done by settle()
  SqliteUserDefaults defaults;
  SessionLink link;
  SessionHost host{{.hardware = hardware,
                    .files = files,
                    .defaults = defaults,
                    .bookmarks = bookmarks,
                    .runLoop = runLoop,
                    .log = log},
                   link};
  SessionProxy session{link, runLoop};
  SettingsProxy settings{session};
  ContentView content{session, runLoop,
                      [this](const FileURL& url, const std::stop_token& stop) {
                        return makeWaveformData(files, url, maxWaveformSamples, stop);
                      },
                      [this](WaveformStore::Work work) { background.push_back(std::move(work)); }};
  SourceActions sources{runLoop, [this](auto urls, auto place) { content.openFiles(urls, place); },
                        [](const BackgroundWork& work) { work(); }};
  PlayerWindow window{content, sources, "1.0"};
  std::optional<PlayerShell> shell;

 private:
  QAccessibleInterface* root() { return QAccessible::queryAccessibleInterface(window.window()); }

  static QAccessibleInterface* find(QAccessibleInterface* from, const QString& name) {
    if (from == nullptr || from->state().invisible) return nullptr;
    if (from->text(QAccessible::Name) == name) return from;
    for (int i = 0; i < from->childCount(); ++i)
      if (auto* found = find(from->child(i), name)) return found;
    return nullptr;
  }
  static void collectRows(QAccessibleInterface* from, std::map<int, std::string>& byNumber) {
    if (from == nullptr || from->state().invisible) return;
    const auto name = from->text(QAccessible::Name);
    if (name.contains(QStringLiteral(", track ")))
      byNumber.emplace(name.section(QStringLiteral(", track "), -1).section(QLatin1Char(','), 0, 0).toInt(),
                       name.toStdString());
    for (int i = 0; i < from->childCount(); ++i) collectRows(from->child(i), byNumber);
  }
};

class Restart : public testing::Test {
 protected:
  FileURL add(const char* name) {
    SimulatedPCMFile file;
    file.format = linearPCM(44100, 2, 16, 2, kAudioFormatFlagIsSignedInteger);
    file.sourceBitDepth = 16;
    file.data.resize(std::size_t{10} * 44100 * 4, std::byte{0x10});
    const FileURL url(std::string("/music/") + name + ".wav");
    files.add(url, std::move(file));
    bookmarks.add(url);
    return url;
  }
  /// The program once more; the one before has ended.
  PlayerRun& start() {
    run.reset();
    run = std::make_unique<PlayerRun>(folder.path(), files, bookmarks);
    return *run;
  }

  test::TemporaryFolder folder;
  SimulatedAudioFileServices files;
  SimulatedFileBookmarks bookmarks;
  std::unique_ptr<PlayerRun> run;
};

TEST_F(Restart, ShowsEverythingAsItWasLeft) {
  PlayerRun& before = start();
  before.content.loadPlaylist(std::vector{add("a"), add("b"), add("c")});
  before.settle();
  before.session.moveTrack(2, 0);  // the third to the front
  before.settle();
  before.act("a, track 2, 00:10", QAccessibleActionInterface::pressAction());
  before.advance(4);
  before.setLevel("Volume", 0.7);
  before.setLevel("Balance", -0.25);
  before.act("Exclusive Access", QAccessibleActionInterface::toggleAction());
  before.window.window()->resize(820, 760);
  before.settle();
  ASSERT_THAT(before.rows(), ElementsAre("c, track 1, 00:10", "a, track 2, 00:10", "b, track 3, 00:10"));
  before.quit();

  PlayerRun& after = start();
  EXPECT_THAT(after.rows(), ElementsAre("c, track 1, 00:10", "a, track 2, 00:10", "b, track 3, 00:10"));
  EXPECT_TRUE(after.shows("02 / 03"));
  EXPECT_TRUE(after.shows("00:04"));
  EXPECT_TRUE(after.shows("00:10"));
  EXPECT_TRUE(after.shows("Volume 70%, reset to 100%"));
  EXPECT_TRUE(after.shows("Balance L 25, reset to Center"));
  ASSERT_TRUE(after.shows("Exclusive Access"));
  EXPECT_TRUE(after.control("Exclusive Access")->state().checked);
  EXPECT_TRUE(after.shows("Play")) << "nothing plays before the user wants it";
  // The window opens at its own size each time; the size that the user gave it stays stored.
  EXPECT_EQ(after.window.window()->size(), QSize(600, 700));
  EXPECT_EQ(loadSavedWindowSize(after.defaults), (WindowSize{820, 760}));
}

TEST_F(Restart, ShowsTheTracksOfASheetAsItsTitles) {
  const std::string path = add("Album").path();
  const auto part = [&](std::uint32_t first, std::optional<std::uint32_t> end, const char* title) {
    return FileURL(path, FileExcerpt{.first = first, .end = end, .title = title});
  };
  PlayerRun& before = start();
  before.content.loadPlaylist(
      std::vector{part(0, 150, "Arrival"), part(150, 300, "Interlude"), part(300, std::nullopt, "Departure")});
  before.settle();
  before.act("Departure, track 3, 00:06", QAccessibleActionInterface::pressAction());
  before.advance(2);
  before.quit();

  PlayerRun& after = start();
  EXPECT_THAT(after.rows(),
              ElementsAre("Arrival, track 1, 00:02", "Interlude, track 2, 00:02", "Departure, track 3, 00:06"));
  EXPECT_TRUE(after.shows("03 / 03"));
  EXPECT_TRUE(after.shows("00:02"));
  EXPECT_TRUE(after.shows("00:06"));
}

TEST_F(Restart, ShowsWhatIsUsualWhereNothingWasLeft) {
  start().quit();
  PlayerRun& after = start();
  EXPECT_TRUE(after.rows().empty());
  EXPECT_TRUE(after.shows("No track selected"));
  EXPECT_TRUE(after.shows("Volume 100%, reset to 100%"));
  EXPECT_FALSE(after.control("Exclusive Access")->state().checked);
}

TEST_F(Restart, HasSquareCornersWhereClearOnesWouldBeBlack) {
  QQuickWindow& window = *start().window.window();
  const bool hasCompositor = QGuiApplication::platformName() != "xcb";  // the X server of the tests has none
  EXPECT_EQ(window.property("composited").toBool(), hasCompositor);
  // A clear pixel is black in a picture, with or without alpha; the window's ground is a dark red.
  const auto isCornerFilled = [&] { return window.grabWindow().pixelColor(0, 0).red() > 20; };
  EXPECT_EQ(isCornerFilled(), !hasCompositor);
  window.setProperty("composited", !hasCompositor);
  run->settle();
  EXPECT_EQ(isCornerFilled(), hasCompositor);
}

}  // namespace
}  // namespace tolvane

/// One application for all: Qt Quick does not like a second one in a process. Off the screen unless a platform is
/// named.
int main(int argc, char* argv[]) {
  testing::InitGoogleMock(&argc, argv);
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  if (qgetenv("QT_QPA_PLATFORM") == "offscreen") QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  const QGuiApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
