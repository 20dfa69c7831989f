// The player's window over simulated hardware: for machines without sound, and for pictures of the window.

#include <QCommandLineParser>
#include <QDBusConnection>
#include <QGuiApplication>
#include <QImage>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <csignal>
#include <cstdio>
#include <exception>

#include "app/PlayerShell.h"
#include "app/SilentSessionBus.h"
#include "app/SystemMusic.h"
#include "app/dbus/PortalDialogs.h"
#include "demo/DemoMusic.h"
#include "demo/DemoRack.h"
#include "demo/RackWindow.h"
#include "platform/PrintableText.h"
#include "platform/codecs/SystemAudioFileServices.h"
#include "platform/desktop/QtRunLoop.h"
#include "platform/desktop/StandardErrorLog.h"
#include "platform/desktop/TerminationSignals.h"
#include "platform/simulated/MemoryUserDefaults.h"
#include "platform/simulated/SimulatedFileBookmarks.h"
#include "session/SessionHost.h"
#include "session/SessionProxy.h"
#include "ui/SourceActions.h"
#include "ui/qt/window/PlayerWindow.h"

namespace tolvane {
namespace {

struct Demo {
  explicit Demo(Log& log)
      : host({.hardware = rack.hardware(),
              .files = *files,
              .defaults = defaults,
              .bookmarks = *bookmarks,
              .runLoop = rack.runLoop(),
              .log = log,
              .background =
                  [heldFiles = files, heldBookmarks = bookmarks](BackgroundWork work) {
                    runInDetachedThread([heldFiles, heldBookmarks, work = std::move(work)] { work(); });
                  }},
             link) {}

  QtRunLoop runLoop;
  TerminationSignals termination{runLoop, [](int) { QCoreApplication::quit(); }};
  DemoRack rack{runLoop};
  std::shared_ptr<SystemAudioFileServices> files = std::make_shared<SystemAudioFileServices>();
  MemoryUserDefaults defaults;  // the demo begins anew each time
  std::shared_ptr<SimulatedFileBookmarks> bookmarks = std::make_shared<SimulatedFileBookmarks>();
  SessionLink link;
  SessionHost host;  // simulated hardware is driven by the thread that draws, and so is its player
  SessionProxy session{link, rack.runLoop()};
  LowPriorityWorkers workers;
  LowPriorityWorkers tagReaders;
  ContentView content{session, rack.runLoop(), std::make_shared<SystemAudioFileServices>(), workers,
                      systemMusic(tagReaders)};
  SourceActions sources{rack.runLoop(), [this](auto urls, auto place) { content.openFiles(urls, place); }};
  PlayerWindow window{content, sources, TOLVANE_VERSION};
  std::optional<PlayerShell> shell;  // once there is a window
};

/// Waits until the music has played for two seconds, saves the window as it then looks, and quits.
class Photographer {
 public:
  Photographer(Demo& demo, QString file) : demo_(demo), file_(std::move(file)) {
    watch_ = demo_.runLoop.scheduleTimer(std::chrono::milliseconds(50), true, [this] { look(); });
    patience_ = demo_.runLoop.scheduleTimer(std::chrono::seconds(60), false, [] {
      std::fputs("tolvane-demo: the music did not start.\n", stderr);
      QCoreApplication::exit(1);
    });
  }

 private:
  void look() {
    if (!demo_.session.state().isPlaying || demo_.session.state().position < 2) return;
    watch_.reset();
    const bool isSaved = demo_.window.window()->grabWindow().save(file_);
    if (!isSaved)
      std::fprintf(stderr, "tolvane-demo: the picture could not be saved: %s\n",
                   printableText(file_.toStdString()).c_str());
    QCoreApplication::exit(isSaved ? 0 : 1);
  }

  Demo& demo_;
  QString file_;
  RunLoop::Timer watch_;
  RunLoop::Timer patience_;
};

int runDemo() {
  QCommandLineParser arguments;
  arguments.setApplicationDescription(QStringLiteral("The player over simulated hardware, playing music of its own."));
  arguments.addHelpOption();
  const QCommandLineOption picture(QStringLiteral("picture"), QStringLiteral("Save a picture of the window and quit."),
                                   QStringLiteral("file"));
  arguments.addOption(picture);
  arguments.process(QCoreApplication::arguments());

  const QTemporaryDir folder;
  if (!folder.isValid()) throw std::runtime_error(folder.errorString().toStdString());
  StandardErrorLog log;
  Demo demo(log);  // first: from here on, a signal no longer leaves the folder behind
  if (!demo.window.window()) return 1;
  const auto identity = ApplicationIdentity::demo();
  auto bus = QDBusConnection::sessionBus();
  (void)bus.registerService(QString::fromStdString(identity.id));  // taken by another demo: this one does without
  demo.shell.emplace(bus, identity,
                     PlayerShell::Parts{.session = demo.session,
                                        .sources = demo.sources,
                                        .defaults = demo.defaults,
                                        .runLoop = demo.rack.runLoop(),
                                        .window = *demo.window.window(),
                                        .music = &demo.content.music()});
  demo.content.loadPlaylist(writeDemoMusic(folder.path().toStdString()));
  std::optional<Photographer> photographer;
  std::optional<RackWindow> rackWindow;
  if (arguments.isSet(picture)) {
    photographer.emplace(demo, arguments.value(picture));
  } else {
    rackWindow.emplace(demo.rack, demo.runLoop);
    rackWindow->showBeside(*demo.window.window());
  }
  return QCoreApplication::exec();
}

}  // namespace
}  // namespace tolvane

int main(int argc, char* argv[]) {
  std::signal(SIGPIPE, SIG_IGN);  // the reader of the log may end; playback continues
  {
    // Before Qt and its platform plug-ins look for the bus.
    tolvane::StandardErrorLog log;
    tolvane::leaveSilentSessionBus(log);
  }
  tolvane::preferPortalDialogs();
  const QGuiApplication application(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("tolvane-demo"));
  try {
    return tolvane::runDemo();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "tolvane-demo: %s\n", tolvane::printableText(failure.what()).c_str());
    return 1;
  }
}
